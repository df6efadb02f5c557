#include "system/Volumes.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <set>
#include <utility>

#include "platform/posix/Names.h"
#include "platform/posix/volume/MountTable.h"
#include "platform/posix/volume/Subvolume.h"

namespace {

// False for a subvolume that a mount further up hides: then nothing is at its path, or something
// else. One that cannot be looked at is taken for visible.
bool MayBeVisible(const std::string& path) {
    constexpr ino_t kRootFolder = 256;
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
        return errno != ENOENT && errno != ENOTDIR;
    }
    return S_ISDIR(status.st_mode) && status.st_ino == kRootFolder;
}

// Adds the subvolumes below the folder, at any depth, without snapshots of this program.
void AddSubvolumesBelow(const std::string& folder, std::set<std::string>* paths) {
    std::vector<std::string> folders = {folder};
    while (!folders.empty()) {
        const std::string next = std::move(folders.back());
        folders.pop_back();
        for (const std::string& path : SubvolumesIn(next)) {
            if (MayBeVisible(path) && !IsOwnSnapshot(path) && paths->insert(path).second) {
                folders.push_back(path);
            }
        }
    }
}

// The places where a file system that has subvolumes is mounted. No other one is asked anything:
// the server behind it may be gone, and would not answer.
std::set<std::string> BtrfsPlaces(const std::vector<Mount>& mounts) {
    std::set<std::string> places;
    for (const Mount& mount : mounts) {
        if (mount.type == "btrfs") {
            places.insert(mount.point);
        }
    }
    return places;
}

std::vector<WString> Wide(const std::set<std::string>& paths) {
    std::set<WString> wide;
    for (const std::string& path : paths) {
        wide.insert(WideFromPath(path));
    }
    return {wide.begin(), wide.end()};
}

}  // namespace

std::vector<WString> HostVolumesBelow(const WString& folder) {
    std::string path;
    if (!PathFromWide(folder.c_str(), &path)) {
        return {};
    }
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    const std::vector<Mount> mounts = MountTable();
    const std::set<std::string> btrfs = BtrfsPlaces(mounts);
    std::set<std::string> volumes;
    AddSubvolumesBelow(path, &volumes);
    for (const std::string& point : MountPointsBelow(mounts, path)) {
        volumes.insert(point);
        if (btrfs.contains(point)) {
            AddSubvolumesBelow(point, &volumes);
        }
    }
    return Wide(volumes);
}

// A subvolume that is mounted at several places counts once, at the first of them.
std::vector<WString> HostSnapshotVolumes() {
    std::set<std::string> paths = BtrfsPlaces(MountTable());
    for (const std::string& place : std::set(paths)) {
        AddSubvolumesBelow(place, &paths);
    }
    std::set<std::pair<SubvolumeInfo::Uuid, std::uint64_t>> seen;
    std::set<std::string> volumes;
    for (const std::string& path : paths) {
        const std::optional<SubvolumeInfo> subvolume = SubvolumeAt(path);
        if (subvolume && !subvolume->isReadOnly &&
            seen.emplace(subvolume->fileSystem, subvolume->id).second) {
            volumes.insert(path);
        }
    }
    return Wide(volumes);
}
