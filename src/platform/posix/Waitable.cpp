#include "platform/posix/Waitable.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kSpins = 20;
constexpr int kPausesPerSpin = 10;
constexpr microseconds kFirstNap{10};
constexpr microseconds kLongestNap{100};
constexpr int kNaps = 25;  // 3 to 5 ms, since the system rounds each nap up
constexpr microseconds kLongestTimedNap{1000};

void Pause() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace

DWORD ThreadWait::WaitFor(DWORD milliseconds) {
    if (TryAcquire()) {
        return WAIT_OBJECT_0;
    }
    if (milliseconds == 0) {
        return WAIT_TIMEOUT;
    }
    if (Spin()) {
        return WAIT_OBJECT_0;
    }
    if (milliseconds != INFINITE) {
        return NapUntil(milliseconds) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }
    if (!Nap()) {
        Sleep();
    }
    return WAIT_OBJECT_0;
}

void ThreadWait::WakeSleepers() {
    if (m_sleepers.load(std::memory_order_seq_cst) == 0) {
        return;
    }
    // A thread that has counted itself a sleeper sees the change, or waits once we hold this.
    const std::lock_guard guard(m_mutex);
    m_wakeUp.notify_all();
}

bool ThreadWait::Spin() {
    for (int spin = 0; spin < kSpins; ++spin) {
        for (int pause = 0; pause < kPausesPerSpin; ++pause) {
            Pause();
        }
        if (TryAcquire()) {
            return true;
        }
    }
    return false;
}

bool ThreadWait::Nap() {
    microseconds nap = kFirstNap;
    for (int i = 0; i < kNaps; ++i) {
        std::this_thread::sleep_for(nap);
        if (TryAcquire()) {
            return true;
        }
        nap = std::min(nap * 2, kLongestNap);
    }
    return false;
}

void ThreadWait::Sleep() {
    m_sleepers.fetch_add(1, std::memory_order_seq_cst);
    {
        std::unique_lock lock(m_mutex);
        while (!TryAcquire()) {
            m_wakeUp.wait(lock);
        }
    }
    m_sleepers.fetch_sub(1, std::memory_order_seq_cst);
}

bool ThreadWait::NapUntil(DWORD limit) {
    const Clock::time_point end = Clock::now() + milliseconds(limit);
    microseconds nap = kFirstNap;
    for (;;) {
        const Clock::time_point now = Clock::now();
        if (now >= end) {
            return TryAcquire();
        }
        std::this_thread::sleep_for(std::min<Clock::duration>(nap, end - now));
        if (TryAcquire()) {
            return true;
        }
        nap = std::min(nap * 2, kLongestTimedNap);
    }
}
