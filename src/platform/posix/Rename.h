// Renaming without replacing.
#pragma once

#include <string>

// Each gives 0 or an errno; EEXIST when the new name is taken.
int RenameNoReplace(const std::string& oldPath, const std::string& newPath);

// The way of file systems that refuse the kernel's own rename without replacing: a second name for
// the file, then the first one removed. Both names exist for a moment, and after a crash there.
int RenameByLink(const std::string& oldPath, const std::string& newPath);
