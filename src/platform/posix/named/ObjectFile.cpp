#include "platform/posix/named/ObjectFile.h"

#include <dirent.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <time.h>

#include <cstdio>
#include <memory>

#include "platform/FaultPoint.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Rename.h"

namespace {

constexpr mode_t kForOwner = 0600;
constexpr mode_t kForOthers = 0077;
constexpr int kOpenFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

// How often a file is looked at again that another process is ending, a millisecond apart.
constexpr int kMostLooks = 1000;

// Bounds on what one sweep costs.
constexpr int kMostEntries = 4096;

Connecting Stopped(JoinStep step) {
    return {step};
}

Connecting Refused(DWORD code) {
    SetLastError(code);
    return Stopped(JoinStep::Failed);
}

bool TryLock(int file, int way) {
    return Uninterrupted([&] { return flock(file, way | LOCK_NB); }) == 0;
}

bool IsNamed(const char* path, const struct stat& status) {
    struct stat named;
    return lstat(path, &named) == 0 && named.st_dev == status.st_dev &&
           named.st_ino == status.st_ino;
}

// For a file whose exclusive lock the caller holds.
void RemoveLeftover(const char* path, const struct stat& status) {
    if (IsNamed(path, status)) {
        unlink(path);
    }
}

bool MayBeObject(const struct stat& status, uid_t account) {
    return S_ISREG(status.st_mode) && status.st_uid == account &&
           (status.st_mode & kForOthers) == 0;
}

void NapAMillisecond() {
    const timespec nap{0, 1'000'000};
    nanosleep(&nap, nullptr);
}

// Takes the shared lock of a live object. Again while another process ends it.
JoinStep LockLive(const char* path, int file, const struct stat& status) {
    if (TryLock(file, LOCK_EX)) {
        RemoveLeftover(path, status);
        return JoinStep::Missing;
    }
    if (errno != EWOULDBLOCK || !TryLock(file, LOCK_SH)) {
        return JoinStep::Again;
    }
    return IsNamed(path, status) ? JoinStep::Done : JoinStep::Again;
}

Connecting JoinOnce(const ObjectName& name) {
    Descriptor file(BesideStandardStreams(open(name.path, kOpenFlags)));
    if (!file && errno == EMFILE) {
        return Refused(ERROR_TOO_MANY_OPEN_FILES);
    }
    struct stat status;
    // What another account has put there is no object of this one.
    if (!file || fstat(file.get(), &status) != 0 || !MayBeObject(status, name.place->account)) {
        return Stopped(JoinStep::Missing);
    }
    if (const JoinStep step = LockLive(name.path, file.get(), status); step != JoinStep::Done) {
        return Stopped(step);
    }
    if (static_cast<std::uint64_t>(status.st_size) < kHeaderBytes) {
        return Refused(ERROR_ACCESS_DENIED);
    }
    ObjectMemory memory =
        FaultFails("MapObject")
            ? ObjectMemory()
            : ObjectMemory::Map(file.get(), static_cast<std::uint64_t>(status.st_size));
    if (!memory) {
        return Refused(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (!memory.IsOf(name)) {
        return Refused(ERROR_ACCESS_DENIED);
    }
    return {JoinStep::Done, {std::move(file), std::move(memory)}};
}

// A file in the making; its name goes when this goes, unless it was published.
class TemporaryName {
public:
    explicit TemporaryName(const char* path) {
        std::uint64_t number = 0;
        if (getrandom(&number, sizeof number, 0) == static_cast<ssize_t>(sizeof number)) {
            MakeTemporaryPath(path, number, m_path);
        }
    }
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;
    ~TemporaryName() {
        if (m_path[0] != '\0') {
            unlink(m_path);
        }
    }

    // 0 or an errno.
    int Publish(const char* path) {
        const int error = RenameNoReplace(m_path, path);
        m_path[0] = error == 0 ? '\0' : m_path[0];
        return error;
    }

    const char* path() const { return m_path; }

private:
    char m_path[kTemporaryPathCapacity]{};
};

// A file beyond the limit of the process would end it by a signal.
bool IsWithinLimit(std::uint64_t bytes) {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur >= bytes;
}

bool Reserve(int file, std::uint64_t bytes) {
    int error = EINTR;
    while (error == EINTR) {
        error = posix_fallocate(file, 0, static_cast<off_t>(bytes));
    }
    return error == 0;
}

// A file of this size for its owner alone, under the shared lock. None when it cannot be made.
Descriptor NewFile(const char* path, std::uint64_t bytes) {
    if (!IsWithinLimit(bytes)) {
        return Descriptor();
    }
    Descriptor file(BesideStandardStreams(open(path, kOpenFlags | O_CREAT | O_EXCL, kForOwner)));
    const bool made = file && TryLock(file.get(), LOCK_SH) && fchmod(file.get(), kForOwner) == 0 &&
                      !FaultFails("ReserveObject") && Reserve(file.get(), bytes);
    return made ? std::move(file) : Descriptor();
}

Connecting Filled(const ObjectName& name, const NewObject& wanted, Descriptor file) {
    ObjectMemory memory = ObjectMemory::Map(file.get(), MemoryBytes(wanted));
    if (!memory || !memory.Fill(name, wanted)) {
        return Refused(ERROR_NOT_ENOUGH_MEMORY);
    }
    return {JoinStep::Done, {std::move(file), std::move(memory)}};
}

// A mutex that is owned from the start must not be unmapped while this thread owns it.
void Unlock(const Connection& connection, const NewObject& wanted) {
    if (wanted.kind == NamedKind::Mutex && wanted.initial) {
        pthread_mutex_unlock(&connection.memory.header()->mutex);
    }
}

void SweepFile(const char* path) {
    const Descriptor file(BesideStandardStreams(open(path, kOpenFlags)));
    struct stat status;
    if (file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
        TryLock(file.get(), LOCK_EX)) {
        RemoveLeftover(path, status);
    }
}

}  // namespace

Connecting JoinObject(const ObjectName& name) {
    for (int look = 0; look < kMostLooks; ++look) {
        Connecting result = JoinOnce(name);
        if (result.step != JoinStep::Again) {
            return result;
        }
        NapAMillisecond();
    }
    return Refused(ERROR_ACCESS_DENIED);
}

Connecting MakeObject(const ObjectName& name, const NewObject& wanted) {
    if (OpenObjectPlace(*name.place, true).state != PlaceState::Usable) {
        return Stopped(JoinStep::Missing);
    }
    TemporaryName temporary(name.path);
    Descriptor file = NewFile(temporary.path(), MemoryBytes(wanted));
    if (!file) {
        return Stopped(JoinStep::Missing);
    }
    Connecting made = Filled(name, wanted, std::move(file));
    if (made.step != JoinStep::Done) {
        return made;
    }
    const int error = FaultFails("PublishObject") ? EIO : temporary.Publish(name.path);
    if (error != 0) {
        Unlock(made.connection, wanted);
        // ENOENT: a sweep took the file for a leftover before it was locked.
        return Stopped(error == EEXIST || error == ENOENT ? JoinStep::Again : JoinStep::Missing);
    }
    return made;
}

Connecting MakePrivateObject(const ObjectName& name, const NewObject& wanted) {
    return Filled(name, wanted, Descriptor());
}

void EndObject(Connection connection, const char* path) {
    struct stat status;
    const int file = connection.file.get();
    if (connection.file && TryLock(file, LOCK_EX) && fstat(file, &status) == 0) {
        RemoveLeftover(path, status);
    }
}

void ReopenAfterFork(Connection* connection) {
    if (!connection->file) {
        return;
    }
    char path[40];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", connection->file.get());
    Descriptor own(BesideStandardStreams(open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC)));
    // Without one the child keeps the memory, and leaves the end of the object to others.
    const bool isLocked = own && TryLock(own.get(), LOCK_SH);
    connection->file = isLocked ? std::move(own) : Descriptor();
}

void SweepObjects(const char* folder) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder), &closedir);
    for (int count = 0; entries != nullptr && count < kMostEntries; ++count) {
        const dirent* const entry = readdir(entries.get());
        if (entry == nullptr) {
            return;
        }
        if (IsObjectFile(entry->d_name)) {
            char path[kObjectFolderCapacity + sizeof entry->d_name];
            std::snprintf(path, sizeof path, "%s%s", folder, entry->d_name);
            SweepFile(path);
        }
    }
}
