#include "platform/posix/named/NamedObject.h"

#include <unistd.h>

#include <cstring>
#include <memory>
#include <mutex>

#include "platform/posix/Security.h"
#include "platform/posix/named/NameSweep.h"

namespace {

// An attempt fails only if another process makes or ends the object meanwhile.
constexpr int kMostCreations = 100;
constexpr mode_t kForEveryone = 0666;
constexpr mode_t kForOwner = 0600;

// The named objects that this process has open. No thread waits for a name file while it holds the
// lock, so that a name that another account blocks does not stop work with the others.
constinit std::mutex tableLock;
constinit NamedObject* table = nullptr;

bool IsObjectOf(const NamedObject& object, const ObjectName& name) {
    return object.local == name.local && std::strcmp(object.path, name.path) == 0 &&
           name.text == object.text;
}

NamedUse UseLocked(NamedObject* object) {
    ++object->uses;
    return NamedUse(object);
}

// A use of the object when this process has it open already.
NamedUse FindLocked(const ObjectName& name) {
    NamedObject* object = table;
    while (object != nullptr && !IsObjectOf(*object, name)) {
        object = object->next;
    }
    return object == nullptr ? NamedUse() : UseLocked(object);
}

NamedUse FindOpen(const ObjectName& name) {
    const std::lock_guard guard(tableLock);
    return FindLocked(name);
}

// Enters what has been connected into the table.
NamedUse EnterLocked(const ObjectName& name, Connection connection,
                     std::unique_ptr<NamedObject> object) {
    static_cast<Connection&>(*object) = std::move(connection);
    object->local = name.local;
    name.text.copy(object->text, kObjectNameCapacity - 1);
    std::memcpy(object->path, name.path, sizeof object->path);
    object->next = table;
    table = object.get();
    return UseLocked(object.release());
}

NamedUse OfKind(NamedUse use, NamedKind kind) {
    if (!use || use->kind == kind) {
        return use;
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return NamedUse();
}

// Null sets the last error.
std::unique_ptr<NamedObject> NewNamedObject() {
    std::unique_ptr<NamedObject> object(new (std::nothrow) NamedObject);
    if (object == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return object;
}

struct Creation {
    Step step = Step::Failed;
    NamedUse use{};     // when done
    bool made = false;  // when done: whether the object is new
};

Creation TryCreate(const ObjectName& name, const NewObject& wanted) {
    std::unique_ptr<NamedObject> object = NewNamedObject();
    NameFile file;
    if (object == nullptr || OpenNameFile(name.path, LockWay::Alone, &file) == FileState::Refused) {
        return {};
    }
    const std::lock_guard guard(tableLock);
    if (NamedUse known = FindLocked(name)) {
        return {Step::Done, std::move(known)};
    }
    Connecting result = JoinOrMake(name, wanted, &file);
    if (result.step != Step::Done) {
        return {result.step};
    }
    if (result.made && wanted.kind == NamedKind::Mutex && wanted.initial) {
        object->lock.WaitFor(0);
    }
    return {Step::Done, EnterLocked(name, std::move(result.connection), std::move(object)),
            result.made};
}

Creation Create(const ObjectName& name, const NewObject& wanted) {
    for (int attempt = 0; attempt < kMostCreations; ++attempt) {
        Creation result = TryCreate(name, wanted);
        if (result.step != Step::Again) {
            return result;
        }
    }
    SetLastError(ERROR_ACCESS_DENIED);
    return {};
}

NamedUse JoinExisting(const ObjectName& name, NamedKind kind, NameFile* file) {
    std::unique_ptr<NamedObject> object = NewNamedObject();
    if (object == nullptr) {
        return NamedUse();
    }
    const std::lock_guard guard(tableLock);
    if (NamedUse known = FindLocked(name)) {
        return known;
    }
    Connecting result = JoinObject(name, kind, file);
    return result.step == Step::Done
               ? EnterLocked(name, std::move(result.connection), std::move(object))
               : NamedUse();
}

// The object has left the table: ends it when no other process holds it.
void Leave(NamedObject* object) {
    const int file = object->file.get();
    struct stat status;
    // Without the lock the file stays for the next sweep.
    if (LockNameFile(file, LockWay::Alone)) {
        if (object->segment.Holders() == 1 && IsNamed(object->path, file, &status)) {
            unlink(object->path);
        }
        object->segment = Segment();
        UnlockNameFile(file);  // a child of fork keeps the descriptor
    }
    delete object;
}

}  // namespace

NamedUse::~NamedUse() {
    if (m_object == nullptr) {
        return;
    }
    {
        const std::lock_guard guard(tableLock);
        if (--m_object->uses > 0) {
            return;
        }
        NamedObject** link = &table;
        while (*link != m_object) {
            link = &(*link)->next;
        }
        *link = m_object->next;
    }
    const DWORD lastError = GetLastError();
    Leave(m_object);
    SetLastError(lastError);
}

NamedUse CreateNamed(const WCHAR* name, NewObject wanted, const SECURITY_ATTRIBUTES* security) {
    bool everyone = false;
    ObjectName parsed;
    if (!ReadSecurity(security, &everyone) || !ParseObjectName(name, &parsed)) {
        return NamedUse();
    }
    wanted.rights = everyone ? kForEveryone : kForOwner;
    Creation result{Step::Done, FindOpen(parsed)};
    if (!result.use) {
        result = Create(parsed, wanted);
    }
    NamedUse use = OfKind(std::move(result.use), wanted.kind);
    if (use && result.made) {
        SweepNameFiles(ObjectFolder());
    }
    if (use) {
        SetLastError(result.made ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
    }
    return use;
}

NamedUse OpenNamed(const WCHAR* name, NamedKind kind, BOOL inherit) {
    ObjectName parsed;
    if (inherit != FALSE || name == nullptr) {
        SetLastError(name == nullptr ? ERROR_INVALID_PARAMETER : ERROR_NOT_SUPPORTED);
        return NamedUse();
    }
    if (!ParseObjectName(name, &parsed)) {
        return NamedUse();
    }
    if (NamedUse known = FindOpen(parsed)) {
        return OfKind(std::move(known), kind);
    }
    NameFile file;
    const FileState state = OpenNameFile(parsed.path, LockWay::Shared, &file);
    if (state != FileState::Opened) {
        if (state == FileState::Missing) {
            SetLastError(ERROR_FILE_NOT_FOUND);
        }
        return NamedUse();
    }
    return OfKind(JoinExisting(parsed, kind, &file), kind);
}

void* AddView(NamedObject* mapping) {
    const std::lock_guard guard(tableLock);
    ++mapping->uses;
    ++mapping->views;
    return mapping->segment.payload();
}

NamedUse TakeView(const void* address) {
    const std::lock_guard guard(tableLock);
    for (NamedObject* object = table; object != nullptr; object = object->next) {
        if (object->views > 0 && object->segment.payload() == address) {
            --object->views;
            return NamedUse(object);
        }
    }
    return NamedUse();
}
