#include "BtrfsSnapshot.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <optional>
#include <utility>

namespace {

Descriptor OpenFolder(int at, const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    return Descriptor(Uninterrupted([&] { return openat(at, path.c_str(), kFlags); }));
}

int LastCode() {
    return static_cast<int>(CommonError(errno));
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

// The entry when it is a read-only snapshot of the volume under our tag.
std::optional<SubvolumeInfo> OursAt(int root, const SubvolumeInfo& volume,
                                    const std::string& name) {
    const Descriptor folder =
        name.starts_with(kSnapshotTag) ? OpenFolder(root, name) : Descriptor();
    auto info = folder ? SubvolumeOf(folder.get()) : std::nullopt;
    const bool isOurs = info && info->isReadOnly && info->parentUuid == volume.uuid;
    return isOurs ? info : std::nullopt;
}

// Held by those who make snapshots of the volume, and by those who look for leftovers there: a new
// snapshot is no leftover, though it takes a moment until it is held.
SubvolumeLock LockVolume(const SubvolumeInfo& volume, int* code) {
    return SubvolumeLock::Take(volume, SubvolumeUse::Changing, true, code);
}

// Tells whether a snapshot is in use.
SubvolumeLock HoldSnapshot(const SubvolumeInfo& snapshot, int* code) {
    return SubvolumeLock::Take(snapshot, SubvolumeUse::Reading, false, code);
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
    const auto volume = folder ? SubvolumeOf(folder.get()) : std::nullopt;
    if (!volume) {
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
    const SubvolumeLock lock = LockVolume(*volume, code);
    if (!lock) {
        return nullptr;
    }
    const std::string name = NewName();
    if (!CreateSnapshot(folder.get(), name, folder.get())) {
        *code = LastCode();
        return nullptr;
    }
    std::unique_ptr<BtrfsSnapshot> snapshot(new BtrfsSnapshot(root, name, std::move(folder)));
    return snapshot->Hold(code) ? std::move(snapshot) : nullptr;
}

BtrfsSnapshot::BtrfsSnapshot(const std::string& root, std::string name, Descriptor folder)
    : m_path(Below(root, name)), m_name(std::move(name)), m_root(std::move(folder)) {}

bool BtrfsSnapshot::Hold(int* code) {
    const Descriptor folder = OpenFolder(m_root.get(), m_name);
    const auto info = folder ? SubvolumeOf(folder.get()) : std::nullopt;
    if (!info) {
        *code = LastCode();
        return false;
    }
    m_hold.emplace(HoldSnapshot(*info, code));
    return static_cast<bool>(*m_hold);
}

int BtrfsSnapshot::Delete() {
    if (!m_root) {
        return 0;
    }
    const int code = DeleteSubvolume(m_root.get(), m_name) ? 0 : LastCode();
    m_root = Descriptor();
    m_hold.reset();
    return code;
}

int ListLeftovers(const std::string& root, std::vector<std::string>* paths) {
    const Descriptor folder = OpenFolder(AT_FDCWD, root);
    const auto volume = folder ? SubvolumeOf(folder.get()) : std::nullopt;
    if (!volume) {
        return errno == ENOTSUP ? 0 : LastCode();
    }
    std::vector<std::string> names;
    if (!NamesIn(root, &names)) {
        return LastCode();
    }
    std::erase_if(names, [&](const std::string& name) {
        return !OursAt(folder.get(), *volume, name).has_value();
    });
    if (names.empty()) {
        return 0;  // for every account, and without a lock
    }
    int code = 0;
    const SubvolumeLock lock = LockVolume(*volume, &code);
    if (!lock) {
        return code;
    }
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        const auto snapshot = OursAt(folder.get(), *volume, name);
        const auto hold = snapshot ? HoldSnapshot(*snapshot, &code) : SubvolumeLock();
        if (hold) {
            paths->push_back(Below(root, name));
        }
    }
    return 0;
}

int DeleteLeftover(const std::string& path) {
    const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
    const std::size_t slash = trimmed.rfind('/');
    const std::string name = trimmed.substr(slash + 1);
    const Descriptor root = slash == std::string::npos
                                ? Descriptor()
                                : OpenFolder(AT_FDCWD, trimmed.substr(0, slash + 1));
    const auto volume = root ? SubvolumeOf(root.get()) : std::nullopt;
    const auto snapshot = volume ? OursAt(root.get(), *volume, name) : std::nullopt;
    if (!snapshot) {
        return static_cast<int>(ERROR_INVALID_PARAMETER);
    }
    int code = 0;
    const SubvolumeLock lock = LockVolume(*volume, &code);
    const auto hold = lock ? HoldSnapshot(*snapshot, &code) : SubvolumeLock();
    if (!hold) {
        return code;
    }
    return DeleteSubvolume(root.get(), name) ? 0 : LastCode();
}
