// Stands in for the platform layer's own.
#include "../FakeVolumes.h"

BOOL GetVolumePathNameW(const WCHAR* path, WCHAR* volumePath, DWORD capacity) {
    return FakeVolumePath(path, volumePath, capacity);
}

UINT GetDriveTypeW(const WCHAR* rootPath) {
    return FakeDriveType(rootPath);
}

BOOL GetVolumeNameForVolumeMountPointW(const WCHAR* mountPoint, WCHAR* name, DWORD capacity) {
    return FakeVolumeName(mountPoint, name, capacity);
}
