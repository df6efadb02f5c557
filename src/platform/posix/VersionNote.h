// The version of a program or library, kept in its own file as an ELF note.
#pragma once

#include <elf.h>

#include "platform/Platform.h"

inline constexpr char kVersionNoteOwner[12] = "Fenwickel";  // padded to a multiple of four
inline constexpr Elf64_Word kVersionNoteOwnerSize = 10;     // with its terminator
inline constexpr Elf64_Word kVersionNoteType = 0x56455253;
inline constexpr DWORD kVersionSignature = 0xFEEF04BD;

struct VersionNote {
    Elf64_Nhdr header;
    char owner[sizeof kVersionNoteOwner];
    VS_FIXEDFILEINFO info;
};

static_assert(sizeof(VS_FIXEDFILEINFO) == 52);
static_assert(sizeof(VersionNote) == 76, "no padding: the sizes in the header count each byte");

// Reads the note of the file. False, with the last error set, when the file cannot be read (codes
// as CreateFileW) or holds none (ERROR_RESOURCE_DATA_NOT_FOUND), whatever else it holds.
bool ReadVersionNote(const WCHAR* path, VS_FIXEDFILEINFO* info);
