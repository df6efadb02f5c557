// Objects that threads wait for.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>

#include "platform/posix/Handle.h"

// What different threads write at the same time lies this far apart.
inline constexpr std::size_t kCacheLine = 64;

// The base of semaphores, mutexes and events. A waiting thread first spins, then takes naps, and
// only then sleeps for real; so a busy pair of threads passes items without system calls, and
// waking a thread is paid for only when one has found nothing to do for some milliseconds.
//
// The object must outlive every call on it, also the call that woke the thread that closes it.
class Waitable : public Object {
public:
    using Object::Object;

    // WAIT_OBJECT_0 or WAIT_TIMEOUT.
    DWORD Wait(DWORD milliseconds);

protected:
    // Takes the object when it is free; never blocks. Must read the state sequentially consistent:
    // together with WakeSleepers that keeps a wake-up from being lost.
    virtual bool TryAcquire() = 0;

    // To be called after every sequentially consistent change that lets TryAcquire succeed.
    void WakeSleepers();

private:
    bool Spin();
    bool Nap();
    void Sleep();
    bool NapUntil(DWORD milliseconds);

    alignas(kCacheLine) std::atomic<int> sleepers_{0};
    std::mutex mutex_;
    std::condition_variable wakeUp_;
};
