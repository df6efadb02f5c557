#include "BtrfsSnapshot.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <thread>
#include <utility>

#include "platform/posix/volume/Subvolume.h"

namespace {

Descriptor OpenFolder(int at, const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    return Descriptor(Uninterrupted([&] { return openat(at, path.c_str(), kFlags); }));
}

int LastCode() {
    return static_cast<int>(errno == EWOULDBLOCK ? LockError(errno) : CommonError(errno));
}

bool TryLock(int folder) {
    return Uninterrupted([&] { return flock(folder, LOCK_EX | LOCK_NB); }) == 0;
}

// The wait is limited, because any process that may read the folder can lock it.
bool Lock(int folder) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(30);
    while (!TryLock(folder)) {
        if (errno != EWOULDBLOCK || Clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

// The tag, the time, the process, and something that no name had before.
std::string NewName() {
    char text[64];
    const std::time_t now = std::time(nullptr);
    std::tm utc;
    gmtime_r(&now, &utc);
    std::string name(kSnapshotTag);
    name.append(text, std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &utc));
    std::uint64_t random = 0;
    if (getrandom(&random, sizeof random, GRND_NONBLOCK) != sizeof random) {
        random =
            static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    }
    std::snprintf(text, sizeof text, "-%d-%016llx", getpid(),
                  static_cast<unsigned long long>(random));
    return name + text;
}

// The folder of the entry when it is a read-only snapshot of the volume under our tag; otherwise
// none, with errno set.
Descriptor OpenOurs(int root, const SubvolumeInfo& volume, const std::string& name) {
    Descriptor folder(-1);
    if (name.starts_with(kSnapshotTag)) {
        folder = OpenFolder(root, name);
        const auto info = folder ? SubvolumeOf(folder.get()) : std::nullopt;
        if (info && info->isReadOnly && info->parentUuid == volume.uuid) {
            return folder;
        }
    }
    errno = EINVAL;
    return Descriptor(-1);
}

// Held by those who make snapshots in the folder, and by those who look for leftovers there: a new
// snapshot is no leftover, though it takes a moment until it is held. None with errno set.
Descriptor LockFolder(int root) {
    Descriptor folder = OpenFolder(root, ".");
    return folder && Lock(folder.get()) ? std::move(folder) : Descriptor(-1);
}

// False with errno set when the folder could not be read to its end.
bool NamesIn(const std::string& path, std::vector<std::string>* names) {
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(path.c_str()), closedir);
    if (!entries) {
        return false;
    }
    errno = 0;
    while (const dirent* const entry = readdir(entries.get())) {
        names->emplace_back(entry->d_name);
        errno = 0;
    }
    return errno == 0;
}

std::string Below(const std::string& folder, const std::string& name) {
    return folder.back() == '/' ? folder + name : folder + '/' + name;
}

}  // namespace

std::unique_ptr<BtrfsSnapshot> BtrfsSnapshot::Create(const std::string& root, int* code) {
    Descriptor folder = OpenFolder(AT_FDCWD, root);
    if (!folder || !SubvolumeOf(folder.get())) {
        *code = LastCode();
        return nullptr;
    }
    if (!MayDeleteSubvolumes(folder.get()) && errno == EPERM) {
        *code = static_cast<int>(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    // The kernel writes out what is not on the disk yet, file by file, before it takes the picture.
    // The less there is, the closer together are the moments at which it sees the files.
    syncfs(folder.get());
    const Descriptor lock = LockFolder(folder.get());
    const std::string name = NewName();
    if (!lock || !CreateSnapshot(folder.get(), name, folder.get())) {
        *code = LastCode();
        return nullptr;
    }
    std::unique_ptr<BtrfsSnapshot> snapshot(new BtrfsSnapshot(root, name, std::move(folder)));
    if (!snapshot->Hold()) {
        *code = LastCode();
        return nullptr;
    }
    return snapshot;
}

BtrfsSnapshot::BtrfsSnapshot(const std::string& root, std::string name, Descriptor folder)
    : m_path(Below(root, name)), m_name(std::move(name)), m_root(std::move(folder)) {}

bool BtrfsSnapshot::Hold() {
    m_folder = OpenFolder(m_root.get(), m_name);
    return m_folder && TryLock(m_folder.get());
}

int BtrfsSnapshot::Delete() {
    if (!m_root) {
        return 0;
    }
    const int code = DeleteSubvolume(m_root.get(), m_name) ? 0 : LastCode();
    m_root = Descriptor();
    m_folder = Descriptor();
    return code;
}

int ListLeftovers(const std::string& root, std::vector<std::string>* paths) {
    const Descriptor folder = OpenFolder(AT_FDCWD, root);
    const auto volume = folder ? SubvolumeOf(folder.get()) : std::nullopt;
    if (!volume) {
        return errno == ENOTSUP ? 0 : LastCode();
    }
    const Descriptor lock = LockFolder(folder.get());
    std::vector<std::string> names;
    if (!lock || !NamesIn(root, &names)) {
        return LastCode();
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const Descriptor snapshot = OpenOurs(folder.get(), *volume, name);
        if (snapshot && TryLock(snapshot.get())) {
            paths->push_back(Below(root, name));
        }
    }
    return 0;
}

int DeleteLeftover(const std::string& path) {
    const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
    const std::size_t slash = trimmed.rfind('/');
    if (slash == std::string::npos) {
        return static_cast<int>(ERROR_INVALID_PARAMETER);
    }
    const std::string name = trimmed.substr(slash + 1);
    const Descriptor root = OpenFolder(AT_FDCWD, trimmed.substr(0, slash + 1));
    const auto volume = root ? SubvolumeOf(root.get()) : std::nullopt;
    const Descriptor lock = volume ? LockFolder(root.get()) : Descriptor(-1);
    const Descriptor snapshot = lock ? OpenOurs(root.get(), *volume, name) : Descriptor(-1);
    if (!snapshot || !TryLock(snapshot.get()) || !DeleteSubvolume(root.get(), name)) {
        return LastCode();
    }
    return 0;
}
