// Semaphores, mutexes and events: those without names, and the calls on both sorts.
#include "platform/posix/ThreadLock.h"
#include "platform/posix/named/NamedObject.h"

namespace {

class Semaphore final : public Waitable, private ThreadWait {
public:
    Semaphore(LONG count, LONG maximum)
        : Waitable(ObjectKind::Semaphore), m_maximum(maximum), m_count(count) {}

    DWORD Wait(DWORD milliseconds) override { return WaitFor(milliseconds); }

    bool Release(LONG releaseCount, LONG* previous) {
        LONG count = m_count.load(std::memory_order_relaxed);
        do {
            if (releaseCount > m_maximum - count) {
                return false;
            }
        } while (!m_count.compare_exchange_weak(count, count + releaseCount));
        if (previous != nullptr) {
            *previous = count;
        }
        WakeSleepers();
        return true;
    }

private:
    bool TryAcquire() override {
        LONG count = m_count.load();
        while (count > 0) {
            if (m_count.compare_exchange_weak(count, count - 1)) {
                return true;
            }
        }
        return false;
    }

    const LONG m_maximum;
    alignas(kCacheLine) std::atomic<LONG> m_count;
};

class Mutex final : public MutexObject {
public:
    explicit Mutex(bool owned) {
        if (owned) {
            m_lock.WaitFor(0);
        }
    }

    DWORD Wait(DWORD milliseconds) override { return m_lock.WaitFor(milliseconds); }

    bool Release() override {
        const bool owned = m_lock.OwnedHere();
        if (owned) {
            m_lock.Release();
        }
        return owned;
    }

private:
    ThreadLock m_lock;
};

class Event final : public EventObject, private ThreadWait {
public:
    Event(bool manualReset, bool set) : m_manualReset(manualReset), m_set(set) {}

    DWORD Wait(DWORD milliseconds) override { return WaitFor(milliseconds); }
    void Set() override {
        m_set.store(true);
        WakeSleepers();
    }
    void Reset() override { m_set.store(false); }

private:
    bool TryAcquire() override { return m_set.load() && (m_manualReset || m_set.exchange(false)); }

    const bool m_manualReset;
    alignas(kCacheLine) std::atomic<bool> m_set;
};

// What objects without a name cannot be created with.
bool RefuseSecurity(const SECURITY_ATTRIBUTES* security) {
    if (security == nullptr) {
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
    const ObjectKind kind = object->kind();
    const bool waits =
        kind == ObjectKind::Semaphore || kind == ObjectKind::Mutex || kind == ObjectKind::Event;
    return waits ? static_cast<Waitable*>(object) : nullptr;
}

}  // namespace

HANDLE CreateSemaphoreW(SECURITY_ATTRIBUTES* security, LONG initialCount, LONG maximumCount,
                        const WCHAR* name) {
    if (FaultFails("CreateSemaphoreW") || RefuseSecurity(security)) {
        return nullptr;
    }
    if (name != nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
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
    if (FaultFails("CreateMutexW")) {
        return nullptr;
    }
    if (name != nullptr) {
        return CreateNamedMutex(security, initialOwner != FALSE, name);
    }
    if (RefuseSecurity(security)) {
        return nullptr;
    }
    return NewHandle<Mutex>(nullptr, initialOwner != FALSE);
}

BOOL ReleaseMutex(HANDLE mutex) {
    if (FaultFails("ReleaseMutex")) {
        return FALSE;
    }
    auto* const object = ObjectOf<MutexObject>(mutex, ObjectKind::Mutex);
    if (object == nullptr) {
        return FALSE;
    }
    return object->Release() ? TRUE : Fail(ERROR_NOT_OWNER);
}

HANDLE CreateEventW(SECURITY_ATTRIBUTES* security, BOOL manualReset, BOOL initialState,
                    const WCHAR* name) {
    if (FaultFails("CreateEventW")) {
        return nullptr;
    }
    if (name != nullptr) {
        return CreateNamedEvent(security, manualReset != FALSE, initialState != FALSE, name);
    }
    if (RefuseSecurity(security)) {
        return nullptr;
    }
    return NewHandle<Event>(nullptr, manualReset != FALSE, initialState != FALSE);
}

BOOL SetEvent(HANDLE event) {
    if (FaultFails("SetEvent")) {
        return FALSE;
    }
    auto* const object = ObjectOf<EventObject>(event, ObjectKind::Event);
    if (object != nullptr) {
        object->Set();
    }
    return object != nullptr;
}

BOOL ResetEvent(HANDLE event) {
    if (FaultFails("ResetEvent")) {
        return FALSE;
    }
    auto* const object = ObjectOf<EventObject>(event, ObjectKind::Event);
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
