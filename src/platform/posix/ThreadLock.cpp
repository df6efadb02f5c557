#include "platform/posix/ThreadLock.h"

std::uint64_t ThreadNumber() {
    static constinit std::atomic<std::uint64_t> last{0};
    static thread_local const std::uint64_t number = ++last;
    return number;
}

bool ThreadLock::TryAcquire() {
    const std::uint64_t self = ThreadNumber();
    std::uint64_t owner = m_owner.load();
    if (owner != self && (owner != 0 || !m_owner.compare_exchange_strong(owner, self))) {
        return false;
    }
    ++m_depth;
    return true;
}
