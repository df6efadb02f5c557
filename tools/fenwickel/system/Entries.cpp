// What is the same on both systems.
#include "system/Entries.h"

#include <utility>

#include "platform/Platform.h"

std::optional<std::vector<WString>> HostNamesIn(const WString& folder) {
    WIN32_FIND_DATAW entry;
    const WCHAR* const pattern = folder.ends_with(WCHAR{'\\'}) ? WIDE("*.*") : WIDE("\\*.*");
    const HANDLE search = FindFirstFileW((folder + pattern).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return {};
    }
    std::vector<WString> names;
    do {
        names.emplace_back(entry.cFileName);
    } while (FindNextFileW(search, &entry));
    const DWORD code = GetLastError();
    FindClose(search);
    SetLastError(code);
    return code == ERROR_NO_MORE_FILES ? std::optional(std::move(names)) : std::nullopt;
}
