// Objects with names: shared between processes, and by all handles to one name in this process.
//
// A named object exists as long as some process holds a handle or a view, however its processes
// end. ObjectFile.h says how. Any thread may call any function here. A child of fork holds what its
// parent holds, but owns no mutex.
#pragma once

#include <atomic>

#include "platform/posix/Handle.h"
#include "platform/posix/named/ObjectFile.h"

// This process's share of an object.
struct NamedObject : Connection {
    NamedKind kind = NamedKind::Mutex;
    bool manualReset = false;
    bool local = false;
    WCHAR text[kObjectNameCapacity]{};  // the name without its prefix
    char path[kObjectPathCapacity]{};   // of its file, had it one

    // Of a mutex: the thread of this process that owns it (ThreadNumber), and how often.
    std::atomic<std::uint64_t> owner{0};
    std::uint64_t depth = 0;  // for the owner alone

    // Under the lock of the table.
    std::size_t uses = 0;
    std::size_t views = 0;  // among the uses
    NamedObject* next = nullptr;
};

// Keeps an object open. The last use in the last process ends the object.
class NamedUse {
public:
    NamedUse() = default;
    explicit NamedUse(NamedObject* object) : m_object(object) {}
    NamedUse(NamedUse&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    NamedUse& operator=(NamedUse&& other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~NamedUse();

    explicit operator bool() const { return m_object != nullptr; }
    NamedObject* operator->() const { return m_object; }
    NamedObject* get() const { return m_object; }

private:
    NamedObject* m_object = nullptr;
};

// A handle to a new T that owns the use; null for no use.
template <typename T>
HANDLE HandleOf(NamedUse use) {
    return use ? NewHandle<T>(nullptr, std::move(use)) : nullptr;
}

// Opens the object, or makes it when there is none. Sets the last error to 0 when it was made, to
// ERROR_ALREADY_EXISTS when it was there; else nothing is given back.
NamedUse CreateNamed(const WCHAR* name, const NewObject& wanted,
                     const SECURITY_ATTRIBUTES* security);

// Opens an object that exists. inherit must be FALSE.
NamedUse OpenNamed(const WCHAR* name, NamedKind kind, BOOL inherit);

// A view of an open mapping is a use of its own, which TakeView gives back to be ended; nothing
// when there is no view at the address.
void* AddView(NamedObject* mapping);
NamedUse TakeView(const void* address);

// CreateMutexW and CreateEventW with a name.
HANDLE CreateNamedMutex(const SECURITY_ATTRIBUTES* security, bool owned, const WCHAR* name);
HANDLE CreateNamedEvent(const SECURITY_ATTRIBUTES* security, bool manualReset, bool set,
                        const WCHAR* name);
