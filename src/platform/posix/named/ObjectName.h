// Names of objects and the files that stand for them.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string_view>

#include "fenwickel/Types.h"

// The folder of the name files, with a closing '/': in memory where the system has such a folder,
// and writable for every account. Test builds may have another one (FaultPoint.h).
const char* ObjectFolder();

inline constexpr std::size_t kObjectNameCapacity = 260;
inline constexpr std::size_t kObjectPathCapacity = 64;

// A name taken apart. Points into the text that it was made of.
struct ObjectName {
    std::basic_string_view<WCHAR> text;  // behind "Global\" or "Local\"
    bool local = false;
    uid_t account = 0;                 // of a local name, else 0
    std::uint64_t ipcNamespace = 0;    // shared memory is told apart by it, so names are, too
    char path[kObjectPathCapacity]{};  // of the name file
};

// False with the last error set for a text that is no name. A name without prefix is a local one.
bool ParseObjectName(const WCHAR* text, ObjectName* name);

// Writes the path of a name file in the making: path, a dot and the number.
inline constexpr std::size_t kTemporaryPathCapacity = kObjectPathCapacity + 20;
void MakeTemporaryPath(const char* path, std::uint64_t number, char* temporary);

// True for the file name of a name file, or of one in the making.
bool IsNameFile(std::string_view fileName);

// A number for this process's System V IPC namespace; 0 when the system does not tell.
std::uint64_t IpcNamespace();
