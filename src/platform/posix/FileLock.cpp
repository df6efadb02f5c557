#include "platform/posix/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace {

// Each attempt fails only if another process replaces the file between open and lock.
constexpr int kMostAttempts = 100;

Descriptor OpenRetried(const std::string& path, int flags, mode_t mode) {
    return Descriptor(Uninterrupted(
        [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode); }));
}

LockOutcome LockFailed(DWORD code) {
    SetLastError(code);
    return LockOutcome::Failed;
}

LockOutcome CheckAndLock(int file, const std::string& path, int lockOperation, bool regularOnly) {
    struct stat status;
    if (fstat(file, &status) != 0) {
        return LockFailed(TransferError(errno));
    }
    const bool regular = S_ISREG(status.st_mode);
    if (S_ISDIR(status.st_mode) || (regularOnly && !regular)) {
        return LockFailed(ERROR_ACCESS_DENIED);
    }
    if (!regular) {
        // A write to a pipe waits for a slow reader; it must not fail.
        return fcntl(file, F_SETFL, fcntl(file, F_GETFL) & ~O_NONBLOCK) == 0
                   ? LockOutcome::Done
                   : LockFailed(TransferError(errno));
    }
    return lockOperation == 0 ? LockOutcome::Done : LockNamedFile(file, path, lockOperation);
}

}  // namespace

LockOutcome LockNamedFile(int file, const std::string& path, int lockOperation) {
    if (flock(file, lockOperation | LOCK_NB) != 0) {
        return LockFailed(LockError(errno));
    }
    struct stat held;
    struct stat named;
    if (fstat(file, &held) != 0) {
        return LockFailed(TransferError(errno));
    }
    const bool same = stat(path.c_str(), &named) == 0 && held.st_ino == named.st_ino &&
                      held.st_dev == named.st_dev;
    return same ? LockOutcome::Done : LockOutcome::Replaced;
}

Descriptor OpenLocked(const std::string& path, int flags, int lockOperation, bool regularOnly,
                      mode_t mode) {
    for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
        Descriptor file = OpenRetried(path, flags, mode);
        if (!file) {
            SetLastError(OpenErrorAt(errno, path));
            return file;
        }
        const LockOutcome outcome = CheckAndLock(file.get(), path, lockOperation, regularOnly);
        if (outcome != LockOutcome::Replaced) {
            return outcome == LockOutcome::Done ? std::move(file) : Descriptor();
        }
    }
    SetLastError(ERROR_SHARING_VIOLATION);
    return Descriptor();
}
