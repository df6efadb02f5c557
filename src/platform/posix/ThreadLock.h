// A recursive lock that belongs to a thread.
#pragma once

#include <cstdint>

#include "platform/posix/Waitable.h"

// A number for the calling thread, never 0 and never given twice, unlike the system's own.
std::uint64_t ThreadNumber();

class ThreadLock final : public ThreadWait {
public:
    bool OwnedHere() const { return m_owner.load(std::memory_order_relaxed) == ThreadNumber(); }

    // How often the owner has taken it. For the owner alone.
    std::uint64_t Depth() const { return m_depth; }

    // For the owner alone.
    void Release() {
        if (--m_depth == 0) {
            m_owner.store(0);
            WakeSleepers();
        }
    }

private:
    bool TryAcquire() override;

    alignas(kCacheLine) std::atomic<std::uint64_t> m_owner{0};
    std::uint64_t m_depth = 0;  // written by the owner alone
};
