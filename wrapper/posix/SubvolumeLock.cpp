#include "SubvolumeLock.h"

#include <sys/file.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>

#include "platform/posix/FileLock.h"
#include "platform/posix/named/ObjectPlace.h"

namespace {

std::string LockPath(const SubvolumeInfo& subvolume, SubvolumeUse use) {
    std::string path = CurrentObjectPlace().folder;
    path += use == SubvolumeUse::Changing ? "changing-" : "reading-";
    char text[32];
    for (const std::uint8_t byte : subvolume.fileSystem) {
        std::snprintf(text, sizeof text, "%02x", byte);
        path += text;
    }
    std::snprintf(text, sizeof text, "-%llu", static_cast<unsigned long long>(subvolume.id));
    return path + text;
}

}  // namespace

// While the lock is held: who opened the file before finds another one, or none, under its name.
SubvolumeLock::~SubvolumeLock() {
    if (m_file) {
        unlink(m_path.c_str());
    }
}

SubvolumeLock SubvolumeLock::Take(const SubvolumeInfo& subvolume, SubvolumeUse use, bool wait,
                                  int* code) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(wait ? 30 : 0);
    const ObjectPlace& place = CurrentObjectPlace();
    if (place.account != 0 || OpenObjectPlace(place, true).state != PlaceState::Usable) {
        *code = static_cast<int>(ERROR_ACCESS_DENIED);
        return {};
    }
    const std::string path = LockPath(subvolume, use);
    for (;;) {
        Descriptor file = OpenLocked(path, O_RDWR | O_CREAT | O_NOFOLLOW, LOCK_EX, true, 0600);
        if (file) {
            return {std::move(file), path};
        }
        *code = static_cast<int>(GetLastError());
        if (*code != static_cast<int>(ERROR_SHARING_VIOLATION) || Clock::now() >= end) {
            return {};
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}
