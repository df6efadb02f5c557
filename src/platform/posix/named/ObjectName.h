// Names of objects and the files that stand for them.
#pragma once

#include <cstdint>
#include <string_view>

#include "fenwickel/Types.h"
#include "platform/posix/named/ObjectPlace.h"

inline constexpr std::size_t kObjectNameCapacity = 260;
inline constexpr std::size_t kObjectFileCapacity = 40;
inline constexpr std::size_t kObjectPathCapacity = kObjectFolderCapacity + kObjectFileCapacity;

// A name taken apart. Points into the text that it was made of.
struct ObjectName {
    std::basic_string_view<WCHAR> text;  // behind "Global\" or "Local\"
    bool local = false;
    std::uint64_t pidNamespace = 0;  // locks name their owners by numbers that it tells apart
    const ObjectPlace* place = nullptr;
    char path[kObjectPathCapacity]{};  // of the object's file
};

// False with the last error set for a text that is no name. A name without prefix is a local one.
bool ParseObjectName(const WCHAR* text, ObjectName* name);

// For a child of fork, which may be the first process of a new namespace.
void ForgetPidNamespace();

// Writes the path of a file in the making: path, a dot and the number.
inline constexpr std::size_t kTemporaryPathCapacity = kObjectPathCapacity + 20;
void MakeTemporaryPath(const char* path, std::uint64_t number, char* temporary);

// True for the file name of an object's file, or of one in the making.
bool IsObjectFile(std::string_view fileName);
