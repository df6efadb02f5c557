// GetDriveTypeW.
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>

#include "platform/FaultPoint.h"
#include "platform/posix/Names.h"
#include "platform/posix/volume/Volume.h"

namespace {

// A file system of user space calls itself "fuse." and a name of its own.
constexpr std::array kRemoteTypes = {
    "nfs",  "nfs4",      "cifs",       "smb3",      "smbfs",          "9p",         "ceph",
    "afs",  "glusterfs", "ncp",        "coda",      "ocfs2",          "fuse.sshfs", "fuse.rclone",
    "gfs2", "fuse.s3fs", "fuse.davfs", "fuse.ceph", "fuse.glusterfs", "davfs"};
constexpr std::array kMemoryTypes = {"tmpfs", "ramfs", "devtmpfs"};
// File systems without a disk of their own that hold users' files on the machine's disks.
constexpr std::array kFixedTypes = {"overlay", "btrfs", "zfs", "virtiofs", "bcachefs", "ecryptfs"};

template <std::size_t N>
bool Holds(const std::array<const char*, N>& types, const std::string& type) {
    return std::find(types.begin(), types.end(), type) != types.end();
}

int ReadDigit(const std::string& path) {
    std::ifstream file(path);
    int value = -1;
    return file >> value ? value : -1;
}

// A partition's folder has no attribute "removable"; the disk's folder is the one above it.
UINT BlockDriveType(const std::string& device) {
    for (const char* const level : {"/", "/../"}) {
        const int removable = ReadDigit(device + level + "removable");
        if (removable >= 0) {
            return removable == 1 ? DRIVE_REMOVABLE : DRIVE_FIXED;
        }
    }
    return DRIVE_UNKNOWN;
}

// A file system that can span disks has a device number of its own; its source is one of them.
std::string BlockFolder(const Mount& mount, const std::string& sysRoot) {
    dev_t device = makedev(mount.major, mount.minor);
    if (mount.major == 0 && !IsBlockDevice(mount.source, &device)) {
        return "";
    }
    return sysRoot + "/dev/block/" + std::to_string(major(device)) + ":" +
           std::to_string(minor(device));
}

}  // namespace

UINT DriveTypeOf(const Mount& mount, const std::string& sysRoot) {
    if (Holds(kRemoteTypes, mount.type)) {
        return DRIVE_REMOTE;
    }
    if (Holds(kMemoryTypes, mount.type)) {
        return DRIVE_RAMDISK;
    }
    if (mount.type == "iso9660" || mount.type == "udf") {
        return DRIVE_CDROM;
    }
    const std::string device = BlockFolder(mount, sysRoot);
    if (!device.empty()) {
        return BlockDriveType(device);
    }
    return Holds(kFixedTypes, mount.type) ? DRIVE_FIXED : DRIVE_UNKNOWN;
}

UINT GetDriveTypeW(const WCHAR* rootPath) {
    if (FaultFails("GetDriveTypeW")) {
        return DRIVE_UNKNOWN;
    }
    std::string bytes;
    const std::optional<Mount> mount =
        PathFromWide(rootPath, &bytes) ? MountOf(bytes) : std::nullopt;
    return mount ? DriveTypeOf(*mount, "/sys") : DRIVE_NO_ROOT_DIR;
}
