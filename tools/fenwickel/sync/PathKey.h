// A file of a run: which folder it lies in, and where.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <unordered_set>

#include "fenwickel/Types.h"

// For looking one up without copying its path.
struct PathKeyView {
    std::uint8_t folder;                 // index among the folders of the run
    std::basic_string_view<WCHAR> path;  // relative to the folder

    bool operator==(const PathKeyView&) const = default;
};

struct PathKey {
    std::uint8_t folder;
    WString path;

    explicit PathKey(const PathKeyView& view) : folder(view.folder), path(view.path) {}
    operator PathKeyView() const { return {folder, path}; }
};

struct PathKeyHash {
    using is_transparent = void;
    std::size_t operator()(const PathKeyView& key) const {
        return std::hash<std::basic_string_view<WCHAR>>()(key.path) ^ key.folder;
    }
};

struct PathKeyEqual {
    using is_transparent = void;
    bool operator()(const PathKeyView& a, const PathKeyView& b) const { return a == b; }
};

using PathKeys = std::unordered_set<PathKey, PathKeyHash, PathKeyEqual>;
