// What kind of disk a mount is on, and the name of a volume.
#pragma once

#include <sys/types.h>

#include <string>

#include "platform/Platform.h"
#include "platform/posix/volume/MountTable.h"

// DRIVE_FIXED and so on. sysRoot is "/sys", or a folder that stands for it.
UINT DriveTypeOf(const Mount& mount, const std::string& sysRoot);

// "\\?\Volume{...}\" for what is mounted: the same after a reboot and under another mount point, as
// far as the file system has an identifier of its own; otherwise as far as its source keeps its
// name. Two folders of one file system that are mounted apart are two volumes. A subvolume of btrfs
// is a volume of its own, mounted or not, with its own identifier as its name; this is not for it.
WString VolumeNameOf(const Mount& mount);

// The identifier of the file system on the mount's device: the name under /dev/disk/by-uuid, else
// the type and the source, with the mount point where many have one source.
std::string FileSystemIdentifier(const Mount& mount);

// The root folder of the volume that GetVolumeNameForVolumeMountPointW calls so; "" when this
// process sees no such volume.
std::string FolderOfVolume(const WString& name);

// Whether the path names a block device, and its number.
bool IsBlockDevice(const std::string& path, dev_t* number);
