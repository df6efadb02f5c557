// The pointers through which the system's functions are called, defined here and so not taken from
// the import library.
#include "../FakeVolumes.h"

extern "C" {
auto __imp_GetVolumePathNameW = &FakeVolumePath;
auto __imp_GetDriveTypeW = &FakeDriveType;
auto __imp_GetVolumeNameForVolumeMountPointW = &FakeVolumeName;
}
