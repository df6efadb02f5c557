// What stands at a path, and how other programs and the file systems see names and times.
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "platform/Host.h"
#include "platform/posix/Errors.h"
#include "platform/posix/FileTime.h"
#include "platform/posix/Names.h"

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

std::string HostNativePath(const WString& path) {
    std::string bytes;
    return PathFromWide(path.c_str(), &bytes) ? bytes : std::string();
}

// The clock that stamps files goes in ticks of some milliseconds; the coarse clock is that one.
std::uint64_t HostFileClock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    const FILETIME time = FileTimeFromUnix(now.tv_sec, static_cast<std::uint32_t>(now.tv_nsec));
    return (std::uint64_t{time.dwHighDateTime} << 32U) | time.dwLowDateTime;
}
