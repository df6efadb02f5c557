// How this folder looks at what a path names.
#pragma once

#include "platform/OwnedHandle.h"
#include "platform/Platform.h"

// Opens what the path names, links followed, without asking for any right to its content. Folders
// need the backup flag.
inline OwnedHandle OpenForQuery(const WString& path) {
    const HANDLE handle =
        CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return OwnedHandle(handle);
}
