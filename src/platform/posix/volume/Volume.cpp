// GetVolumePathNameW, GetVolumeNameForVolumeMountPointW.
#include "platform/posix/volume/Volume.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "platform/FaultPoint.h"
#include "platform/Text.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"
#include "platform/posix/volume/Subvolume.h"

namespace {

const char* const kBtrfs = "btrfs";

// 1a is the hash of Fowler, Noll and Vo.
std::uint64_t Fnv1a(const std::string& text, std::uint64_t hash) {
    constexpr std::uint64_t kPrime = 0x100000001B3;
    for (const char unit : text) {
        hash = (hash ^ static_cast<unsigned char>(unit)) * kPrime;
    }
    return hash;
}

BOOL CopyOut(const WString& text, WCHAR* buffer, DWORD capacity, DWORD tooShort) {
    if (text.size() >= capacity) {
        return Fail(tooShort);
    }
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    return TRUE;
}

WString WithSeparator(WString path) {
    if (path.empty() || path.back() != WIDE('\\')) {
        path += WIDE('\\');
    }
    return path;
}

// The longest part of the path that exists; "" has none.
std::string ExistingPart(std::string path) {
    struct stat status;
    while (!path.empty() && stat(path.c_str(), &status) != 0 &&
           (errno == ENOENT || errno == ENOTDIR)) {
        const std::size_t slash = path.find_last_not_of('/') == std::string::npos
                                      ? std::string::npos
                                      : path.rfind('/', path.find_last_not_of('/'));
        path = slash == std::string::npos ? "" : path.substr(0, std::max<std::size_t>(slash, 1));
    }
    return path;
}

// The root folder of the path's subvolume; where that is above the mount, the mount's own folder.
// The path has no links and is on the mount.
std::string SubvolumeRoot(std::string path, const Mount& mount) {
    constexpr ino_t kRootFolder = 256;
    struct stat status;
    while (path.size() > mount.point.size()) {
        if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
            status.st_ino == kRootFolder) {
            return path;
        }
        path.resize(std::max<std::size_t>(path.rfind('/'), 1));
    }
    return mount.point;
}

// A mount and the folder under which its volume is seen, which may lie below the mount's own.
struct Volume {
    Mount mount;
    std::string root;
};

// Nothing, with errno set, when the path does not exist.
std::optional<Volume> VolumeOf(const std::string& path) {
    const std::optional<Mount> mount = MountOf(path);
    if (!mount) {
        return std::nullopt;
    }
    if (mount->type != kBtrfs) {
        return Volume{*mount, mount->point};
    }
    const std::unique_ptr<char, void (*)(void*)> resolved(realpath(path.c_str(), nullptr), free);
    if (!resolved) {
        return std::nullopt;
    }
    return Volume{*mount, SubvolumeRoot(resolved.get(), *mount)};
}

std::optional<Volume> VolumeOfWide(const WCHAR* path) {
    std::string bytes;
    if (!PathFromWide(path, &bytes)) {
        return std::nullopt;
    }
    std::optional<Volume> volume = VolumeOf(bytes);
    if (!volume) {
        SetLastError(OpenErrorAt(errno, bytes));
    }
    return volume;
}

// "\\?\Volume{00112233-4455-6677-8899-aabbccddeeff}\"
WString NameFromUuid(const SubvolumeInfo::Uuid& uuid) {
    WString name = WIDE("\\\\?\\Volume{");
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        const bool startsGroup = i == 4 || i == 6 || i == 8 || i == 10;
        WCHAR digits[4];
        WideFormat(digits, 4, startsGroup ? WIDE("-%02x") : WIDE("%02x"), DWORD{uuid[i]});
        name += digits;
    }
    return name + WIDE("}\\");
}

// Names for what has no identifier of its own: the same text gives the same name.
WString NameFromText(const std::string& text) {
    const std::uint64_t first = Fnv1a(text, 0xCBF29CE484222325);
    const std::uint64_t halves[] = {first, Fnv1a(text, first)};
    SubvolumeInfo::Uuid uuid;
    for (std::size_t i = 0; i < uuid.size(); ++i) {
        uuid[i] = static_cast<std::uint8_t>(halves[i / 8] >> (8 * (7 - i % 8)));
    }
    return NameFromUuid(uuid);
}

WString SubvolumeName(const SubvolumeInfo& subvolume) {
    if (subvolume.uuid != SubvolumeInfo::Uuid{}) {
        return NameFromUuid(subvolume.uuid);
    }
    return NameFromText(std::string(subvolume.fileSystem.begin(), subvolume.fileSystem.end()) +
                        std::to_string(subvolume.id));
}

// A folder of btrfs that was mounted by itself belongs to a subvolume whose root is out of sight:
// it has its name from the mount.
std::optional<WString> NameOf(const Volume& volume) {
    if (volume.mount.type == kBtrfs) {
        if (const std::optional<SubvolumeInfo> subvolume = SubvolumeAt(volume.root)) {
            return SubvolumeName(*subvolume);
        }
        if (errno != ENOTSUP) {
            return std::nullopt;
        }
    }
    return VolumeNameOf(volume.mount);
}

// The root folder of the subvolume of that name below the folder, which is one, too; "" has none.
std::string FindSubvolume(const std::string& folder, const WString& name) {
    std::vector<std::string> folders = {folder};
    while (!folders.empty()) {
        std::string root = std::move(folders.back());
        folders.pop_back();
        const std::optional<SubvolumeInfo> subvolume = SubvolumeAt(root);
        if (subvolume && SubvolumeName(*subvolume) == name) {
            return root;
        }
        const std::vector<std::string> below = SubvolumesIn(root);
        folders.insert(folders.end(), below.begin(), below.end());
    }
    return "";
}

}  // namespace

bool IsBlockDevice(const std::string& path, dev_t* number) {
    struct stat status;
    const bool is = stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
    *number = is ? status.st_rdev : 0;
    return is;
}

std::string FileSystemIdentifier(const Mount& mount) {
    const char* const folder = "/dev/disk/by-uuid";
    const std::unique_ptr<DIR, int (*)(DIR*)> links(opendir(folder), closedir);
    dev_t source = 0;
    dev_t device = 0;
    const bool onDevice = IsBlockDevice(mount.source, &source);
    while (const dirent* const link = links && onDevice ? readdir(links.get()) : nullptr) {
        if (IsBlockDevice(std::string(folder) + "/" + link->d_name, &device) && device == source) {
            return link->d_name;
        }
    }
    // Many mounts may call their source "overlay"; a path or a data set tells them apart.
    const bool tellsApart = mount.source.find('/') != std::string::npos;
    return mount.type + " " + mount.source + (tellsApart ? "" : " " + mount.point);
}

WString VolumeNameOf(const Mount& mount) {
    return NameFromText(FileSystemIdentifier(mount) + '\0' + mount.root);
}

// Looks at mount points first. Calls only btrfs itself: a dead network server would not answer.
std::string FolderOfVolume(const WString& name) {
    const std::vector<Mount> mounts = MountTable();
    for (const Mount& mount : mounts) {
        const bool mayBe = mount.type == kBtrfs || VolumeNameOf(mount) == name;
        if (const auto volume = mayBe ? VolumeOf(mount.point) : std::nullopt) {
            if (NameOf(*volume) == name) {
                return volume->root;
            }
        }
    }
    for (const Mount& mount : mounts) {
        std::string folder = mount.type == kBtrfs ? FindSubvolume(mount.point, name) : "";
        if (!folder.empty()) {
            return folder;
        }
    }
    return "";
}

// As on Windows the path itself need not exist; its volume is that of what does.
BOOL GetVolumePathNameW(const WCHAR* path, WCHAR* volumePath, DWORD capacity) {
    if (FaultFails("GetVolumePathNameW")) {
        return FALSE;
    }
    std::string bytes;
    if (!PathFromWide(path, &bytes)) {
        return FALSE;
    }
    const std::string existing = ExistingPart(bytes);
    if (existing.empty()) {
        return Fail(ERROR_PATH_NOT_FOUND);
    }
    const std::optional<Volume> volume = VolumeOf(existing);
    if (!volume) {
        return Fail(OpenErrorAt(errno, existing));
    }
    return CopyOut(WithSeparator(WideFromPath(volume->root)), volumePath, capacity,
                   ERROR_FILENAME_EXCED_RANGE);
}

BOOL GetVolumeNameForVolumeMountPointW(const WCHAR* mountPoint, WCHAR* name, DWORD capacity) {
    if (FaultFails("GetVolumeNameForVolumeMountPointW")) {
        return FALSE;
    }
    const std::optional<Volume> volume = VolumeOfWide(mountPoint);
    if (!volume) {
        return FALSE;
    }
    const std::optional<WString> found = NameOf(*volume);
    return found ? CopyOut(*found, name, capacity, ERROR_FILENAME_EXCED_RANGE)
                 : Fail(CommonError(errno));
}
