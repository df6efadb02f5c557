// Text in fixed fields of blocks that other processes write, too.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "fenwickel/Types.h"

// The field's text up to its terminator; all of the field where there is none. A copy, since the
// field may change under the reader.
template <std::size_t N>
WString TextOf(const WCHAR (&field)[N]) {
    WCHAR copy[N];
    std::copy_n(field, N, copy);
    return WString(copy, std::find(copy, copy + N, WCHAR{0}));
}

// Writes text into the field, cut to N - 1 units, and zeroes the rest of it.
template <std::size_t N>
void SetText(WCHAR (&field)[N], std::basic_string_view<WCHAR> text) {
    const std::size_t length = std::min(text.size(), N - 1);
    std::copy_n(text.data(), length, field);
    std::fill(field + length, field + N, WCHAR{0});
}
