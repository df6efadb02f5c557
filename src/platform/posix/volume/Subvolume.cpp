#include "platform/posix/volume/Subvolume.h"

#include <fcntl.h>
#include <linux/btrfs.h>
#include <linux/btrfs_tree.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/FaultPoint.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Errors.h"

namespace {

Descriptor OpenForCalls(const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;
    return Descriptor(Uninterrupted([&] { return open(path.c_str(), kFlags); }));
}

bool IsOnBtrfs(int folder) {
    struct statfs fileSystem;
    return fstatfs(folder, &fileSystem) == 0 && fileSystem.f_type == BTRFS_SUPER_MAGIC;
}

// The root folder of every subvolume has this number, and nothing else has.
bool IsRootFolder(int folder) {
    struct stat status;
    return IsOnBtrfs(folder) && fstat(folder, &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_ino == BTRFS_FIRST_FREE_OBJECTID;
}

// The arguments of the kernel's calls are as large as a page: they live on the heap. Some of the
// calls answer a positive number where they found what they looked for.
template <typename Arguments>
bool Ask(int folder, unsigned long request, Arguments* arguments) {
    return Uninterrupted([&] { return ioctl(folder, request, arguments); }) >= 0;
}

template <typename Arguments>
bool PutName(Arguments* arguments, const std::string& name) {
    if (name.size() > BTRFS_SUBVOL_NAME_MAX) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::copy(name.begin(), name.end(), arguments->name);  // the rest is zero
    return true;
}

// The path below the folder at which a subvolume lies, whose entry is in the folder with that
// number. Nothing also when it does not lie below.
std::optional<std::string> PathBelow(int folder, std::uint64_t holder, std::uint64_t subvolume) {
    const auto lookup = std::make_unique<btrfs_ioctl_ino_lookup_user_args>();
    lookup->dirid = holder;
    lookup->treeid = subvolume;
    if (!Ask(folder, BTRFS_IOC_INO_LOOKUP_USER, lookup.get())) {
        return std::nullopt;
    }
    return std::string(lookup->path) + lookup->name;
}

}  // namespace

std::optional<SubvolumeInfo> SubvolumeAt(const std::string& path) {
    const Descriptor folder = OpenForCalls(path);
    return folder ? SubvolumeOf(folder.get()) : std::nullopt;
}

std::optional<SubvolumeInfo> SubvolumeOf(int folder) {
    if (!IsRootFolder(folder)) {
        errno = ENOTSUP;
        return std::nullopt;
    }
    const auto arguments = std::make_unique<btrfs_ioctl_get_subvol_info_args>();
    const auto fileSystem = std::make_unique<btrfs_ioctl_fs_info_args>();
    if (!Ask(folder, BTRFS_IOC_GET_SUBVOL_INFO, arguments.get()) ||
        !Ask(folder, BTRFS_IOC_FS_INFO, fileSystem.get())) {
        return std::nullopt;
    }
    SubvolumeInfo info;
    info.id = arguments->treeid;
    info.isReadOnly = (arguments->flags & BTRFS_ROOT_SUBVOL_RDONLY) != 0;
    std::copy_n(arguments->uuid, info.uuid.size(), info.uuid.begin());
    std::copy_n(arguments->parent_uuid, info.parentUuid.size(), info.parentUuid.begin());
    std::copy_n(fileSystem->fsid, info.fileSystem.size(), info.fileSystem.begin());
    return info;
}

// The kernel tells them in portions; EOVERFLOW means that there are more.
std::vector<std::string> SubvolumesIn(const std::string& path) {
    std::vector<std::string> paths;
    const Descriptor folder = OpenForCalls(path);
    if (!folder || !IsOnBtrfs(folder.get())) {
        return paths;
    }
    const auto portion = std::make_unique<btrfs_ioctl_get_subvol_rootref_args>();
    const std::string prefix = path.back() == '/' ? path : path + '/';
    for (bool more = true; more;) {
        const bool isLast = Ask(folder.get(), BTRFS_IOC_GET_SUBVOL_ROOTREF, portion.get());
        more = !isLast && errno == EOVERFLOW && portion->num_items > 0;
        const std::size_t count = isLast || more ? portion->num_items : 0;
        for (std::size_t i = 0; i < count; ++i) {
            const auto& entry = portion->rootref[i];
            if (const auto below = PathBelow(folder.get(), entry.dirid, entry.treeid)) {
                paths.push_back(prefix + *below);
            }
        }
    }
    return paths;
}

bool IsOwnSnapshot(const std::string& root) {
    const std::size_t slash = root.rfind('/');
    if (slash == std::string::npos ||
        !std::string_view(root).substr(slash + 1).starts_with(kSnapshotTag)) {
        return false;
    }
    const std::optional<SubvolumeInfo> snapshot = SubvolumeAt(root);
    const std::optional<SubvolumeInfo> holder = SubvolumeAt(root.substr(0, slash + 1));
    return snapshot && holder && snapshot->isReadOnly && snapshot->parentUuid == holder->uuid;
}

bool CreateSnapshot(int folder, const std::string& name, int source) {
    if (FaultFails("CreateSnapshot")) {
        errno = EIO;
        return false;
    }
    const auto arguments = std::make_unique<btrfs_ioctl_vol_args_v2>();
    arguments->fd = source;
    arguments->flags = BTRFS_SUBVOL_RDONLY;
    return PutName(arguments.get(), name) && Ask(folder, BTRFS_IOC_SNAP_CREATE_V2, arguments.get());
}

bool DeleteSubvolume(int folder, const std::string& name) {
    if (FaultFails("DeleteSubvolume")) {
        errno = EIO;
        return false;
    }
    const auto arguments = std::make_unique<btrfs_ioctl_vol_args_v2>();
    return PutName(arguments.get(), name) &&
           Ask(folder, BTRFS_IOC_SNAP_DESTROY_V2, arguments.get());
}

// A search of no entries needs the same right and does nothing.
bool MayDeleteSubvolumes(int folder) {
    const auto nothing = std::make_unique<btrfs_ioctl_search_args>();
    return Ask(folder, BTRFS_IOC_TREE_SEARCH, nothing.get());
}
