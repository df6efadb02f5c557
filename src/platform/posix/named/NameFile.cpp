#include "platform/posix/named/NameFile.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

constexpr long kFirstPauseNs = 20'000;
constexpr long kLongestPauseNs = 1'000'000;
// A holder needs microseconds, unless it is stopped or blocks the name on purpose.
constexpr long kLongestWaitNs = 1'000'000'000;
// Each attempt fails only if another process replaces the file between open and lock.
constexpr int kMostOpenings = 100;

int Control(int file, short type) {
    // Of the sort that belongs to the descriptor, not to the process.
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = 0;
    lock.l_len = 1;
    return Uninterrupted([&] { return fcntl(file, F_OFD_SETLK, &lock); });
}

FileState Refuse(DWORD code) {
    SetLastError(code);
    return FileState::Refused;
}

// By default it is not a file, or one that this account may not open.
FileState OpenFailed(int error) {
    switch (error) {
        case ENOENT:
            return FileState::Missing;
        case EMFILE:
        case ENFILE:
        case ENOMEM:
            return Refuse(CommonError(error));
        default:
            return Refuse(ERROR_ACCESS_DENIED);
    }
}

int OpenFile(const char* path, int flags) {
    // Without O_NONBLOCK a pipe or a lease on the file would make this wait.
    constexpr int kAlways = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    const int file = Uninterrupted([&] { return open(path, kAlways | flags, S_IRUSR | S_IWUSR); });
    return BesideStandardStreams(file);
}

}  // namespace

NameFile::~NameFile() {
    if (file) {
        UnlockNameFile(file.get());
    }
}

bool LockNameFile(int file, LockWay way) {
    const short type = way == LockWay::Shared ? F_RDLCK : F_WRLCK;
    long nap = kFirstPauseNs;
    for (long waited = 0; Control(file, type) != 0; waited += nap) {
        if ((errno != EAGAIN && errno != EACCES) || way == LockWay::AtOnce ||
            waited >= kLongestWaitNs) {
            return false;
        }
        nap = std::min(nap * 2, kLongestPauseNs);
        const timespec time{0, nap};
        nanosleep(&time, nullptr);
    }
    return true;
}

void UnlockNameFile(int file) {
    Control(file, F_UNLCK);
}

bool IsNamed(const char* path, int file, struct stat* status) {
    struct stat named;
    return fstat(file, status) == 0 && lstat(path, &named) == 0 && named.st_ino == status->st_ino &&
           named.st_dev == status->st_dev;
}

FileState OpenNameFile(const char* path, LockWay way, NameFile* opened) {
    for (int attempt = 0; attempt < kMostOpenings; ++attempt) {
        opened->file = Descriptor(OpenFile(path, 0));
        const int file = opened->file.get();
        if (!opened->file) {
            return OpenFailed(errno);
        }
        if (fstat(file, &opened->status) != 0 || !S_ISREG(opened->status.st_mode) ||
            !LockNameFile(file, way)) {
            return Refuse(ERROR_ACCESS_DENIED);
        }
        if (IsNamed(path, file, &opened->status)) {
            return FileState::Opened;
        }
    }
    return Refuse(ERROR_ACCESS_DENIED);
}

bool MakeNameFile(const char* path, NameFile* made) {
    made->file = Descriptor(OpenFile(path, O_CREAT | O_EXCL));
    if (!made->file || !LockNameFile(made->file.get(), LockWay::AtOnce) ||
        fstat(made->file.get(), &made->status) != 0) {
        return false;
    }
    // A file that a sweep has removed must not be used: after a kill, no sweep would find its
    // memory.
    errno = EAGAIN;
    return made->status.st_nlink != 0;
}
