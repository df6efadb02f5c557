// Lists inside one text.
#pragma once

#include <algorithm>
#include <vector>

#include "fenwickel/Types.h"

// Appends the pieces between the separators, in order; empty pieces are left out.
inline void SplitText(const WString& text, WCHAR separator, std::vector<WString>& pieces) {
    for (auto start = text.begin();;) {
        const auto end = std::find(start, text.end(), separator);
        if (end != start) {
            pieces.emplace_back(start, end);
        }
        if (end == text.end()) {
            return;
        }
        start = end + 1;
    }
}
