// Mutexes with names: flock on the name file between processes, a recursive lock between threads.
#include <sys/file.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/posix/named/NamedObject.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTriesBeforeNaps = 8;
constexpr long kFirstNapNs = 20'000;
constexpr long kLongestNapNs = 1'000'000;

// Never waits. WAIT_OBJECT_0, WAIT_TIMEOUT or WAIT_FAILED.
DWORD TryFlock(int file) {
    if (Uninterrupted([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0) {
        return WAIT_OBJECT_0;
    }
    if (errno == EWOULDBLOCK) {
        return WAIT_TIMEOUT;
    }
    SetLastError(LockError(errno));
    return WAIT_FAILED;
}

DWORD Flock(int file) {
    if (Uninterrupted([&] { return flock(file, LOCK_EX); }) == 0) {
        return WAIT_OBJECT_0;
    }
    SetLastError(LockError(errno));
    return WAIT_FAILED;
}

// The system has no lock with a time limit, so this tries again and again.
DWORD FlockUntil(int file, Clock::time_point end) {
    long nap = kFirstNapNs;
    for (int tries = 1;; ++tries) {
        const DWORD result = TryFlock(file);
        const auto left = std::chrono::nanoseconds(end - Clock::now()).count();
        if (result != WAIT_TIMEOUT || left <= 0) {
            return result;
        }
        if (tries > kTriesBeforeNaps) {
            const timespec time{0, static_cast<long>(std::min<long long>(nap, left))};
            nanosleep(&time, nullptr);
            nap = std::min(nap * 2, kLongestNapNs);
        }
    }
}

class NamedMutex final : public MutexObject {
public:
    explicit NamedMutex(NamedUse use) : m_use(std::move(use)) {}

    DWORD Wait(DWORD milliseconds) override;
    bool Release() override;

private:
    DWORD LockFile(DWORD milliseconds, Clock::time_point start) const;

    NamedUse m_use;
};

DWORD NamedMutex::LockFile(DWORD milliseconds, Clock::time_point start) const {
    const int file = m_use->file.get();
    const DWORD result = TryFlock(file);
    if (result != WAIT_TIMEOUT || milliseconds == 0) {
        return result;
    }
    return milliseconds == INFINITE
               ? Flock(file)
               : FlockUntil(file, start + std::chrono::milliseconds(milliseconds));
}

DWORD NamedMutex::Wait(DWORD milliseconds) {
    const Clock::time_point start = Clock::now();
    ThreadLock& lock = m_use->lock;
    if (lock.WaitFor(milliseconds) != WAIT_OBJECT_0) {
        return WAIT_TIMEOUT;
    }
    if (lock.Depth() > 1) {
        return WAIT_OBJECT_0;
    }
    const DWORD result = LockFile(milliseconds, start);
    if (result != WAIT_OBJECT_0) {
        lock.Release();
        return result;
    }
    // An owner takes its mark away before it lets go: a mark found here is that of a dead one.
    return m_use->segment.header()->word.exchange(1) == 0 ? WAIT_OBJECT_0 : WAIT_ABANDONED;
}

bool NamedMutex::Release() {
    ThreadLock& lock = m_use->lock;
    if (!lock.OwnedHere()) {
        return false;
    }
    if (lock.Depth() == 1) {
        m_use->segment.header()->word.store(0);
        flock(m_use->file.get(), LOCK_UN);
    }
    lock.Release();
    return true;
}

}  // namespace

HANDLE CreateNamedMutex(const SECURITY_ATTRIBUTES* security, bool owned, const WCHAR* name) {
    NewObject wanted;
    wanted.kind = NamedKind::Mutex;
    wanted.initial = owned;
    return HandleOf<NamedMutex>(CreateNamed(name, wanted, security));
}

HANDLE OpenMutexW(DWORD, BOOL inherit, const WCHAR* name) {
    if (FaultFails("OpenMutexW")) {
        return nullptr;
    }
    return HandleOf<NamedMutex>(OpenNamed(name, NamedKind::Mutex, inherit));
}
