// Wide text: formatting and conversion, the same on both systems.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

#include "fenwickel/Types.h"

// Formats into buffer (capacity units, at least 1). Understands %s (a zero-terminated wide string,
// "(null)" for null), %c (a wide unit), %d %i %u %x %X %ld %lu %lx (32-bit), %I64d %I64u %I64x
// (64-bit) and %%, with width, '0' and '-'. Output beyond the buffer is cut; the buffer is always
// terminated. A conversion that is not understood is copied as it stands and ends the formatting.
// Returns the number of units written without the terminator.
//
// The compiler's wide printf does not serve: on one system it takes %s for a narrow string, and on
// the other it leaves a cut text without a terminator.
std::size_t WideFormatV(WCHAR* buffer, std::size_t capacity, const WCHAR* format,
                        std::va_list arguments);
std::size_t WideFormat(WCHAR* buffer, std::size_t capacity, const WCHAR* format, ...);

// UTF-16 to UTF-8. A lone surrogate becomes U+FFFD.
std::string Utf8FromWide(std::basic_string_view<WCHAR> text);

// UTF-8 to UTF-16. A byte that is not part of valid UTF-8 becomes U+FFFD.
WString WideFromUtf8(std::string_view text);

// True when the text holds no lone surrogate, so that UTF-8 carries it exactly.
bool IsValidUtf16(std::basic_string_view<WCHAR> text);

// Upper case, unit by unit, by the simple mapping of Unicode; never by the locale.
WString UpperCase(std::basic_string_view<WCHAR> text);

// True when the texts differ in letter case at most.
bool EqualNoCase(std::basic_string_view<WCHAR> first, std::basic_string_view<WCHAR> second);
