// Semaphores, mutexes and events without names.
#include <cstdint>

#include "platform/posix/Waitable.h"

namespace {

class Semaphore final : public Waitable {
public:
    Semaphore(LONG count, LONG maximum)
        : Waitable(ObjectKind::Semaphore), maximum_(maximum), count_(count) {}

    bool Release(LONG releaseCount, LONG* previous) {
        LONG count = count_.load(std::memory_order_relaxed);
        do {
            if (releaseCount > maximum_ - count) {
                return false;
            }
        } while (!count_.compare_exchange_weak(count, count + releaseCount));
        if (previous != nullptr) {
            *previous = count;
        }
        WakeSleepers();
        return true;
    }

protected:
    bool TryAcquire() override {
        LONG count = count_.load();
        while (count > 0) {
            if (count_.compare_exchange_weak(count, count - 1)) {
                return true;
            }
        }
        return false;
    }

private:
    const LONG maximum_;
    alignas(kCacheLine) std::atomic<LONG> count_;
};

// Never 0 and never given twice, unlike the system's own thread numbers.
std::uint64_t ThreadNumber() {
    static constinit std::atomic<std::uint64_t> last{0};
    static thread_local const std::uint64_t number = ++last;
    return number;
}

class Mutex final : public Waitable {
public:
    explicit Mutex(bool owned) : Waitable(ObjectKind::Mutex) {
        if (owned) {
            TryAcquire();
        }
    }

    bool Release() {
        if (owner_.load(std::memory_order_relaxed) != ThreadNumber()) {
            return false;
        }
        if (--depth_ == 0) {
            owner_.store(0);
            WakeSleepers();
        }
        return true;
    }

protected:
    bool TryAcquire() override {
        const std::uint64_t self = ThreadNumber();
        std::uint64_t owner = owner_.load();
        if (owner != self && (owner != 0 || !owner_.compare_exchange_strong(owner, self))) {
            return false;
        }
        ++depth_;
        return true;
    }

private:
    alignas(kCacheLine) std::atomic<std::uint64_t> owner_{0};
    std::uint64_t depth_ = 0;  // written by the owner alone
};

class Event final : public Waitable {
public:
    Event(bool manualReset, bool set)
        : Waitable(ObjectKind::Event), manualReset_(manualReset), set_(set) {}

    void Set() {
        set_.store(true);
        WakeSleepers();
    }
    void Reset() { set_.store(false); }

protected:
    bool TryAcquire() override { return set_.load() && (manualReset_ || set_.exchange(false)); }

private:
    const bool manualReset_;
    alignas(kCacheLine) std::atomic<bool> set_;
};

// What no object can be created with.
bool RefuseNamed(const SECURITY_ATTRIBUTES* security, const WCHAR* name) {
    if (security == nullptr && name == nullptr) {
        return false;
    }
    SetLastError(ERROR_NOT_SUPPORTED);
    return true;
}

Waitable* WaitableOf(HANDLE handle) {
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE) {
        return nullptr;
    }
    auto* const object = static_cast<Object*>(handle);
    const bool waits = object->kind() != ObjectKind::File && object->kind() != ObjectKind::Search;
    return waits ? static_cast<Waitable*>(object) : nullptr;
}

}  // namespace

HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES* security, LONG initialCount, LONG maximumCount,
                        const WCHAR* name) {
    if (FaultFails("CreateSemaphoreW") || RefuseNamed(security, name)) {
        return nullptr;
    }
    if (initialCount < 0 || maximumCount <= 0 || initialCount > maximumCount) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    return NewHandle<Semaphore>(nullptr, initialCount, maximumCount);
}

BOOL ReleaseSemaphore(HANDLE semaphore, LONG releaseCount, LONG* previousCount) {
    if (FaultFails("ReleaseSemaphore")) {
        return FALSE;
    }
    auto* const object = ObjectOf<Semaphore>(semaphore, ObjectKind::Semaphore);
    if (object == nullptr) {
        return FALSE;
    }
    if (releaseCount <= 0) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return object->Release(releaseCount, previousCount) ? TRUE : Fail(ERROR_TOO_MANY_POSTS);
}

HANDLE CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initialOwner, const WCHAR* name) {
    if (FaultFails("CreateMutexW") || RefuseNamed(security, name)) {
        return nullptr;
    }
    return NewHandle<Mutex>(nullptr, initialOwner != FALSE);
}

BOOL ReleaseMutex(HANDLE mutex) {
    if (FaultFails("ReleaseMutex")) {
        return FALSE;
    }
    auto* const object = ObjectOf<Mutex>(mutex, ObjectKind::Mutex);
    if (object == nullptr) {
        return FALSE;
    }
    return object->Release() ? TRUE : Fail(ERROR_NOT_OWNER);
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState,
                    const WCHAR* name) {
    if (FaultFails("CreateEventW") || RefuseNamed(security, name)) {
        return nullptr;
    }
    return NewHandle<Event>(nullptr, manualReset != FALSE, initialState != FALSE);
}

BOOL SetEvent(HANDLE event) {
    if (FaultFails("SetEvent")) {
        return FALSE;
    }
    auto* const object = ObjectOf<Event>(event, ObjectKind::Event);
    if (object != nullptr) {
        object->Set();
    }
    return object != nullptr;
}

BOOL ResetEvent(HANDLE event) {
    if (FaultFails("ResetEvent")) {
        return FALSE;
    }
    auto* const object = ObjectOf<Event>(event, ObjectKind::Event);
    if (object != nullptr) {
        object->Reset();
    }
    return object != nullptr;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (FaultFails("WaitForSingleObject")) {
        return WAIT_FAILED;
    }
    Waitable* const object = WaitableOf(handle);
    if (object == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    return object->Wait(milliseconds);
}

BOOL CloseHandle(HANDLE handle) {
    if (FaultFails("CloseHandle")) {
        return FALSE;
    }
    auto* const object = static_cast<Object*>(handle);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE ||
        object->kind() == ObjectKind::Search) {
        return Fail(ERROR_INVALID_HANDLE);
    }
    delete object;
    return TRUE;
}
