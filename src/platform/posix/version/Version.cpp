// The version of the program or library that this object becomes part of.
#include "FenwickelVersion.h"
#include "platform/posix/VersionNote.h"

namespace {

constexpr DWORD kHigh = (FENWICKEL_VERSION_MAJOR << 16) | FENWICKEL_VERSION_MINOR;
constexpr DWORD kLow = (FENWICKEL_VERSION_BUILD << 16) | FENWICKEL_VERSION_REVISION;
constexpr DWORD kFormatVersion = 0x10000;

// Read from the file, never from memory.
[[gnu::section(".note.fenwickel"), gnu::used]] alignas(4) constinit const VersionNote note = {
    {kVersionNoteOwnerSize, sizeof(VS_FIXEDFILEINFO), kVersionNoteType},
    {'F', 'e', 'n', 'w', 'i', 'c', 'k', 'e', 'l', 0, 0, 0},
    {kVersionSignature, kFormatVersion, kHigh, kLow, kHigh, kLow, 0, 0, 0, 0, 0, 0, 0}};

}  // namespace
