// The registry as a text file in the usual export syntax.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Platform.h"

struct RegistryValue {
    DWORD type = 0;
    std::vector<BYTE> data;  // as the registry hands it out: text in UTF-16LE with terminator
};

// By name in upper case; the default value has the empty name.
using RegistryValues = std::map<WString, RegistryValue>;

// By full path in upper case, root included, one '\' between the components.
using RegistryKeys = std::map<WString, RegistryValues>;

// What the bytes say: UTF-16LE with byte-order mark, or UTF-8 with or without one. A line that is
// not understood is left out (with all values below it when it would begin a key), whatever the
// bytes are. A key that only the path of another one names has no element of its own.
RegistryKeys ParseRegistry(std::string_view bytes);

// The form in which a path is looked up: upper case, repeated and closing separators left out.
WString RegistryPath(std::basic_string_view<WCHAR> path);

// The element of the first key at or below the path (in the form of RegistryPath), or the end.
RegistryKeys::const_iterator FindRegistryKey(const RegistryKeys& keys, const WString& path);
