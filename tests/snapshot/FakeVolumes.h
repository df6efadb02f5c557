// Volumes for tests, by the drive letter of a path: N has no volume, R is removable, M is remote,
// E has no name; every other letter is a fixed disk with the name "\\?\Volume{LETTER}\".
#pragma once

#include "platform/Platform.h"
#include "platform/Text.h"

inline BOOL FakeVolumePath(const WCHAR* path, WCHAR* volumePath, DWORD capacity) {
    WideFormat(volumePath, capacity, WIDE("%c:\\"), path[0]);
    SetLastError(ERROR_PATH_NOT_FOUND);
    return path[0] != WIDE('N');
}

inline UINT FakeDriveType(const WCHAR* root) {
    return root[0] == WIDE('R') ? DRIVE_REMOVABLE
                                : (root[0] == WIDE('M') ? DRIVE_REMOTE : DRIVE_FIXED);
}

inline BOOL FakeVolumeName(const WCHAR* root, WCHAR* name, DWORD capacity) {
    WideFormat(name, capacity, WIDE("\\\\?\\Volume{%c}\\"), root[0]);
    SetLastError(ERROR_INVALID_PARAMETER);
    return root[0] != WIDE('E');
}
