// From errno to Windows error codes, by the kind of call that failed.
#pragma once

#include <cerrno>
#include <string>

#include "platform/Platform.h"

// Repeats a system call, which answers a negative number on failure, while signals interrupt it.
template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// Sets the last error and gives FALSE, for one-line failures.
BOOL Fail(DWORD code);

// Opening or looking up a file. The system reports a missing file and a missing folder on the way
// to it with one errno; parentExists tells them apart.
DWORD OpenError(int error, bool parentExists);

// The same for a path, asking the file system about its parent where that matters.
DWORD OpenErrorAt(int error, const std::string& path);

// Deleting or renaming a name, whose file exists: what is missing is the new name's folder.
DWORD NameError(int error);

// Taking a lock.
DWORD LockError(int error);

// Reading, writing, sizing or flushing an open file.
DWORD TransferError(int error);

// Opening a folder for a search. Never ERROR_FILE_NOT_FOUND: callers take that for an empty folder.
DWORD SearchError(int error);

// What no call-specific rule covers.
DWORD CommonError(int error);
