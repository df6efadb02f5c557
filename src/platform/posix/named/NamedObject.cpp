#include "platform/posix/named/NamedObject.h"

#include <pthread.h>

#include <cstring>
#include <memory>
#include <mutex>

#include "platform/posix/Errors.h"
#include "platform/posix/Security.h"
#include "platform/posix/ThreadLock.h"

namespace {

// An attempt fails only if another process makes or ends the object meanwhile.
constexpr int kMostCreations = 100;
constexpr unsigned kMakingsPerSweep = 64;

// The named objects that this process has open.
constinit std::mutex tableLock;
constinit NamedObject* table = nullptr;

bool IsObjectOf(const NamedObject& object, const ObjectName& name) {
    return object.local == name.local && std::strcmp(object.path, name.path) == 0 &&
           name.text == object.text;
}

// A use of the object when this process has it open already.
NamedUse FindLocked(const ObjectName& name) {
    NamedObject* object = table;
    while (object != nullptr && !IsObjectOf(*object, name)) {
        object = object->next;
    }
    if (object != nullptr) {
        ++object->uses;
    }
    return NamedUse(object);
}

// Enters what has been joined or made into the table.
NamedUse EnterLocked(const ObjectName& name, Connection connection,
                     std::unique_ptr<NamedObject> object) {
    static_cast<Connection&>(*object) = std::move(connection);
    const ObjectHeader& header = *object->memory.header();
    object->kind = static_cast<NamedKind>(header.kind);
    object->manualReset = header.manualReset != 0;
    object->local = name.local;
    name.text.copy(object->text, kObjectNameCapacity - 1);
    std::memcpy(object->path, name.path, sizeof object->path);
    object->uses = 1;
    object->next = table;
    table = object.get();
    return NamedUse(object.release());
}

NamedUse OfKind(NamedUse use, NamedKind kind) {
    if (!use || use->kind == kind) {
        return use;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return NamedUse();
}

// A child goes on with one thread, which owns no mutex, and with locks that it shares with its
// parent until it takes its own.
void LockBeforeFork() {
    tableLock.lock();
}
void UnlockInParent() {
    tableLock.unlock();
}
void SettleInChild() {
    ForgetPidNamespace();
    for (NamedObject* object = table; object != nullptr; object = object->next) {
        object->owner.store(0);
        object->depth = 0;
        ReopenAfterFork(object);
    }
    tableLock.unlock();
}

// To be called without the lock of the table, which a fork takes under a lock of the system's own.
// False sets the last error.
bool ForkHandlersAreSet() {
    static const int error = pthread_atfork(LockBeforeFork, UnlockInParent, SettleInChild);
    return error == 0 || Fail(ERROR_NOT_ENOUGH_MEMORY) != FALSE;
}

// Null sets the last error.
std::unique_ptr<NamedObject> NewNamedObject() {
    std::unique_ptr<NamedObject> object(new (std::nothrow) NamedObject);
    if (object == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return object;
}

// *made tells of which sort a connection is that is done.
Connecting JoinOrMake(const ObjectName& name, const NewObject& wanted, bool* made) {
    Connecting result = JoinObject(name);
    *made = result.step == JoinStep::Missing;
    if (*made) {
        result = MakeObject(name, wanted);
    }
    return result.step == JoinStep::Missing ? MakePrivateObject(name, wanted) : std::move(result);
}

void SweepNowAndThen(const ObjectName& name) {
    static constinit std::atomic<unsigned> makings{0};
    if (makings.fetch_add(1, std::memory_order_relaxed) % kMakingsPerSweep == 0) {
        SweepObjects(name.place->folder);
    }
}

NamedUse Create(const ObjectName& name, const NewObject& wanted, bool* made) {
    std::unique_ptr<NamedObject> object = NewNamedObject();
    if (object == nullptr || !ForkHandlersAreSet()) {
        return NamedUse();
    }
    const std::lock_guard guard(tableLock);
    if (NamedUse known = FindLocked(name)) {
        return known;
    }
    for (int attempt = 0; attempt < kMostCreations; ++attempt) {
        Connecting result = JoinOrMake(name, wanted, made);
        if (result.step == JoinStep::Failed) {
            return NamedUse();
        }
        if (result.step == JoinStep::Done) {
            return EnterLocked(name, std::move(result.connection), std::move(object));
        }
    }
    SetLastError(ERROR_ACCESS_DENIED);
    return NamedUse();
}

NamedUse Join(const ObjectName& name) {
    if (!ForkHandlersAreSet()) {
        return NamedUse();
    }
    const std::lock_guard guard(tableLock);
    if (NamedUse known = FindLocked(name)) {
        return known;
    }
    Connecting result = JoinObject(name);
    if (result.step == JoinStep::Missing) {
        SetLastError(ERROR_FILE_NOT_FOUND);
    }
    std::unique_ptr<NamedObject> object =
        result.step == JoinStep::Done ? NewNamedObject() : nullptr;
    return object != nullptr ? EnterLocked(name, std::move(result.connection), std::move(object))
                             : NamedUse();
}

// False when a thread of this process still owns the mutex: its memory must stay, since the kernel
// and the thread know it as the thread's. One that the caller owns is left abandoned.
bool MayLeave(NamedObject* object) {
    const std::uint64_t owner = object->owner.load();
    if (owner != 0 && owner != ThreadNumber()) {
        return false;
    }
    if (owner != 0) {
        object->memory.header()->abandoned.store(1);
        object->owner.store(0);
        for (; object->depth > 0; --object->depth) {
            pthread_mutex_unlock(&object->memory.header()->mutex);
        }
    }
    return true;
}

}  // namespace

NamedUse::~NamedUse() {
    if (m_object == nullptr) {
        return;
    }
    const DWORD lastError = GetLastError();
    {
        const std::lock_guard guard(tableLock);
        if (m_object->uses == 1 && !MayLeave(m_object)) {
            return;  // open until the process ends, or opens the name again
        }
        if (--m_object->uses > 0) {
            return;
        }
        NamedObject** link = &table;
        while (*link != m_object) {
            link = &(*link)->next;
        }
        *link = m_object->next;
    }
    EndObject(std::move(*m_object), m_object->path);
    delete m_object;
    SetLastError(lastError);
}

NamedUse CreateNamed(const WCHAR* name, const NewObject& wanted,
                     const SECURITY_ATTRIBUTES* security) {
    ObjectName parsed;
    if (!IsSecuritySupported(security) || !ParseObjectName(name, &parsed)) {
        return NamedUse();
    }
    bool made = false;
    NamedUse use = Create(parsed, wanted, &made);
    if (use && made) {
        if (wanted.kind == NamedKind::Mutex && wanted.initial) {
            use->depth = 1;
            use->owner.store(ThreadNumber());
        }
        SweepNowAndThen(parsed);
    }
    use = OfKind(std::move(use), wanted.kind);
    if (use) {
        SetLastError(made ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    }
    return use;
}

NamedUse OpenNamed(const WCHAR* name, NamedKind kind, BOOL inherit) {
    ObjectName parsed;
    if (inherit != FALSE || name == nullptr) {
        SetLastError(name == nullptr ? ERROR_INVALID_PARAMETER : ERROR_NOT_SUPPORTED);
        return NamedUse();
    }
    return ParseObjectName(name, &parsed) ? OfKind(Join(parsed), kind) : NamedUse();
}

void* AddView(NamedObject* mapping) {
    const std::lock_guard guard(tableLock);
    ++mapping->uses;
    ++mapping->views;
    return mapping->memory.payload();
}

NamedUse TakeView(const void* address) {
    const std::lock_guard guard(tableLock);
    for (NamedObject* object = table; object != nullptr; object = object->next) {
        if (object->views > 0 && object->memory.payload() == address) {
            --object->views;
            return NamedUse(object);
        }
    }
    return NamedUse();
}
