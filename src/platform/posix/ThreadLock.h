// A recursive lock that belongs to a thread.
#pragma once

#include <cstdint>

#include "platform/posix/Waitable.h"

// A number for the calling thread, never 0 and never given twice, unlike the system's own.
std::uint64_t ThreadNumber();

class ThreadLock final : public ThreadWait {
public:
    bool OwnedHere() const { return owner_.load(std::memory_order_relaxed) == ThreadNumber(); }

    // How often the owner has taken it. For the owner alone.
    std::uint64_t Depth() const { return depth_; }

    // For the owner alone.
    void Release() {
        if (--depth_ == 0) {
            owner_.store(0);
            WakeSleepers();
        }
    }

private:
    bool TryAcquire() override;

    alignas(kCacheLine) std::atomic<std::uint64_t> owner_{0};
    std::uint64_t depth_ = 0;  // written by the owner alone
};
