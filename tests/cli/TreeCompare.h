// What a folder holds, read without the program under test.
#pragma once

#include <sys/stat.h>

#include <map>
#include <string>

#include "TestSupport.h"

// Every file and link below the folder, by its relative path: a file's write time to the
// nanosecond with its bytes, or where a link leads.
inline std::map<std::string, std::string> TreeOf(const std::filesystem::path& folder) {
    std::map<std::string, std::string> tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        struct stat status {};
        const std::string path = entry.path().lexically_relative(folder).string();
        EXPECT_EQ(lstat(entry.path().c_str(), &status), 0) << path;
        if (S_ISLNK(status.st_mode)) {
            tree[path] = "link to " + std::filesystem::read_symlink(entry.path()).string();
        } else if (!S_ISDIR(status.st_mode)) {
            tree[path] = std::to_string(status.st_mtim.tv_sec) + '.' +
                         std::to_string(status.st_mtim.tv_nsec) + ' ' + ReadBytes(entry.path());
        }
    }
    return tree;
}

// The paths in which two trees differ, one a line; "" when they are equal.
inline std::string Differences(const std::map<std::string, std::string>& expected,
                               const std::map<std::string, std::string>& found) {
    std::string lines;
    for (const auto& [path, what] : expected) {
        const auto other = found.find(path);
        if (other == found.end()) {
            lines += "missing: " + path + '\n';
        } else if (other->second != what) {
            lines += "another: " + path + ": " + other->second + " instead of " + what + '\n';
        }
    }
    for (const auto& [path, what] : found) {
        lines += expected.contains(path) ? "" : "too much: " + path + '\n';
    }
    return lines;
}
