// A whole directory search as a map from name to entry.
#pragma once

#include <map>

#include "platform/Platform.h"

// The entries of the folder; *code is what the search ended with.
inline std::map<WString, WIN32_FIND_DATAW> FindAll(const WString& folder, DWORD* code) {
    std::map<WString, WIN32_FIND_DATAW> entries;
    WIN32_FIND_DATAW data;
    const HANDLE search = FindFirstFileW((folder + WIDE("\\*.*")).c_str(), &data);
    BOOL more = search != INVALID_HANDLE_VALUE;
    for (; more != FALSE; more = FindNextFileW(search, &data)) {
        entries[data.cFileName] = data;
    }
    *code = GetLastError();
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
    return entries;
}
