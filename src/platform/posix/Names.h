// Byte names of the file system and their UTF-16 form.
//
// A name that is valid UTF-8 converts as such. A byte b that is not, and the byte '\', becomes the
// unit U+F700+b. A valid character U+F780..U+F7FF or U+F75C, which would read as such a byte, is
// itself taken byte by byte. So every name has exactly one form; it has at most as many units as
// the name has bytes, and no lone surrogate.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Platform.h"

// One name (no '/' in it) to UTF-16 with a terminator; out has room for length + 1 units. Gives the
// number of units without the terminator.
std::size_t WideFromName(const char* name, std::size_t length, WCHAR* out);

// A path: its names as above, '/' becomes '\'.
WString WideFromPath(std::string_view path);

// A path of the library back to bytes; '\' and '/' both separate. False with the last error set to
// ERROR_PATH_NOT_FOUND for null or an empty path, to ERROR_INVALID_NAME for one that no byte path
// has as its form.
bool PathFromWide(const WCHAR* path, std::string* bytes);

// The same leniently, for showing to people: a lone surrogate becomes U+FFFD.
std::string DisplayBytes(std::basic_string_view<WCHAR> path);

// Values of environment variables: as names, but '\' and U+F75C stand for themselves, so that a
// library path can be handed over in one.
WString WideFromValue(std::string_view value);
bool ValueFromWide(const WCHAR* value, std::string* bytes);
