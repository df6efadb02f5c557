#include "system/Entries.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <string>

#include "platform/posix/Errors.h"
#include "platform/posix/FileTime.h"
#include "platform/posix/Names.h"
#include "system/Paths.h"

namespace {

bool GetStatus(const WString& path, struct stat* status) {
    return stat(HostNativePath(path).c_str(), status) == 0;
}

}  // namespace

HostEntry HostEntryAt(const WString& path) {
    std::string bytes;
    struct stat status;
    if (!PathFromWide(path.c_str(), &bytes)) {
        return HostEntry::Missing;  // no such name can exist
    }
    if (lstat(bytes.c_str(), &status) != 0) {
        if (errno == ENOENT || errno == ENOTDIR) {
            return HostEntry::Missing;
        }
        SetLastError(CommonError(errno));
        return HostEntry::Unknown;
    }
    switch (status.st_mode & S_IFMT) {
        case S_IFREG:
            return HostEntry::File;
        case S_IFDIR:
            return HostEntry::Folder;
        case S_IFLNK:
            return HostEntry::Link;
        default:
            return HostEntry::Other;
    }
}

// The clock that stamps files goes in ticks of some milliseconds; the coarse clock is that one.
std::uint64_t HostFileClock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    const FILETIME time = FileTimeFromUnix(now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec));
    return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}

bool HostIsFolder(const WString& path) {
    struct stat status;
    return GetStatus(path, &status) && S_ISDIR(status.st_mode);
}

bool HostIsRegularFile(const WString& path) {
    struct stat status;
    return GetStatus(path, &status) && S_ISREG(status.st_mode);
}

std::optional<std::uint64_t> HostFileSystemId(const WString& path) {
    WString existing = path;
    struct statx status;
    // The mount too: a second mount of one file system is as far away for a rename as another one.
    while (statx(AT_FDCWD, HostNativePath(existing).c_str(), 0, STATX_TYPE | STATX_MNT_ID,
                 &status) != 0) {
        const WString parent = HostParentFolder(existing);
        if (existing.empty() || parent == existing) {
            return std::nullopt;
        }
        existing = parent;
    }
    const std::uint64_t device = (std::uint64_t{status.stx_dev_major} << 20) | status.stx_dev_minor;
    return (device << 32) ^ ((status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0);
}

bool HostSameFile(const WString& first, const WString& second) {
    struct stat one;
    struct stat other;
    return GetStatus(first, &one) && GetStatus(second, &other) && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}
