// Objects that threads wait for.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>

#include "platform/posix/Handle.h"

// What different threads write at the same time lies this far apart.
inline constexpr std::size_t kCacheLine = 64;

// Waiting between threads of one process. A waiting thread first spins, then takes naps, and only
// then sleeps for real; so a busy pair of threads passes items without system calls, and waking a
// thread is paid for only when one has found nothing to do for some milliseconds.
//
// It must outlive every call on it, also the call that woke the thread that destroys it.
class ThreadWait {
public:
    ThreadWait() = default;
    virtual ~ThreadWait() = default;
    ThreadWait(const ThreadWait&) = delete;
    ThreadWait& operator=(const ThreadWait&) = delete;

    // WAIT_OBJECT_0 or WAIT_TIMEOUT.
    DWORD WaitFor(DWORD milliseconds);

protected:
    // Takes what is waited for when it is free; never blocks. Must read the state sequentially
    // consistent: together with WakeSleepers that keeps a wake-up from being lost.
    virtual bool TryAcquire() = 0;

    // To be called after every sequentially consistent change that lets TryAcquire succeed.
    void WakeSleepers();

private:
    bool Spin();
    bool Nap();
    void Sleep();
    bool NapUntil(DWORD milliseconds);

    alignas(kCacheLine) std::atomic<int> m_sleepers{0};
    std::mutex m_mutex;
    std::condition_variable m_wakeUp;
};

// The base of semaphores, mutexes and events, with a name or without.
class Waitable : public Object {
public:
    using Object::Object;

    // WAIT_FAILED sets the last error.
    virtual DWORD Wait(DWORD milliseconds) = 0;
};

// The two kinds that exist both with a name and without.
class MutexObject : public Waitable {
public:
    MutexObject() : Waitable(ObjectKind::Mutex) {}

    // False when the calling thread does not own it.
    virtual bool Release() = 0;
};

class EventObject : public Waitable {
public:
    EventObject() : Waitable(ObjectKind::Event) {}

    virtual void Set() = 0;
    virtual void Reset() = 0;
};
