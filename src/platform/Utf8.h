// One UTF-8 sequence at a time, for the conversions of this layer.
#pragma once

#include <cstddef>
#include <string>

#include "fenwickel/Types.h"

// The length in bytes of the valid UTF-8 sequence at text (left bytes remain, at least 1), with its
// code point in *point; 0 when the first byte does not start one. Surrogates, overlong forms and
// values above U+10FFFF are not valid.
std::size_t Utf8Sequence(const char* text, std::size_t left, char32_t* point);

// Appends a code point (not a surrogate) as UTF-8.
void AppendUtf8(std::string* text, char32_t point);

// Writes a code point as one or two units to out and answers how many.
std::size_t WideUnits(char32_t point, WCHAR* out);

// The code point at text[0], which is not the terminator; *units tells how many units it takes. A
// lone surrogate gives itself. text is zero-terminated or has left units.
char32_t WidePoint(const WCHAR* text, std::size_t left, std::size_t* units);

constexpr bool IsSurrogate(char32_t point) {
    return point >= 0xD800 && point <= 0xDFFF;
}
