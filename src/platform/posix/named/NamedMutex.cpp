// Mutexes with names: a robust lock of the thread library in shared memory. The kernel frees it
// when the thread that owns it ends, and tells the next owner.
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/posix/ThreadLock.h"
#include "platform/posix/named/NamedObject.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTriesBeforeNaps = 8;
constexpr long kFirstNapNs = 20'000;
constexpr long kLongestNapNs = 1'000'000;

class NamedMutex final : public MutexObject {
public:
    explicit NamedMutex(NamedUse use) : m_use(std::move(use)) {}

    DWORD Wait(DWORD milliseconds) override;
    bool Release() override;

private:
    pthread_mutex_t* Mutex() const { return &m_use->memory.header()->mutex; }
    bool OwnedHere() const { return m_use->owner.load() == ThreadNumber(); }
    int Lock(DWORD milliseconds) const;

    NamedUse m_use;
};

// pthread_mutex_timedlock counts by a clock that can be set, so this tries again and again.
int LockUntil(pthread_mutex_t* mutex, Clock::time_point end) {
    long nap = kFirstNapNs;
    for (int tries = 1;; ++tries) {
        const int error = pthread_mutex_trylock(mutex);
        const auto left = std::chrono::nanoseconds(end - Clock::now()).count();
        if (error != EBUSY || left <= 0) {
            return error;
        }
        if (tries > kTriesBeforeNaps) {
            const timespec time{0, static_cast<long>(std::min<long long>(nap, left))};
            nanosleep(&time, nullptr);
            nap = std::min(nap * 2, kLongestNapNs);
        }
    }
}

// 0, EBUSY, EOWNERDEAD, or an error.
int NamedMutex::Lock(DWORD milliseconds) const {
    const int error = pthread_mutex_trylock(Mutex());
    if (error != EBUSY || milliseconds == 0) {
        return error;
    }
    return milliseconds == INFINITE
               ? pthread_mutex_lock(Mutex())
               : LockUntil(Mutex(), Clock::now() + std::chrono::milliseconds(milliseconds));
}

DWORD NamedMutex::Wait(DWORD milliseconds) {
    const int error = Lock(milliseconds);
    if (error == EBUSY) {
        return WAIT_TIMEOUT;
    }
    if (error != 0 && error != EOWNERDEAD) {
        SetLastError(CommonError(error));
        return WAIT_FAILED;
    }
    if (error == EOWNERDEAD) {
        pthread_mutex_consistent(Mutex());
    }
    if (m_use->owner.load() != ThreadNumber()) {
        m_use->depth = 0;
        m_use->owner.store(ThreadNumber());
    }
    ++m_use->depth;
    const bool wasClosed = m_use->memory.header()->abandoned.exchange(0) != 0;
    return error == EOWNERDEAD || wasClosed ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

bool NamedMutex::Release() {
    if (!OwnedHere()) {
        return false;
    }
    if (--m_use->depth == 0) {
        m_use->owner.store(0);
    }
    pthread_mutex_unlock(Mutex());
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
