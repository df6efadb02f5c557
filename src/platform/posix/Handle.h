// What a HANDLE points to: one heap object per open file, search, semaphore, mutex, event or
// mapping.
#pragma once

#include <new>
#include <utility>

#include "platform/FaultPoint.h"
#include "platform/Platform.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Errors.h"

enum class ObjectKind { File, Search, Semaphore, Mutex, Event, Mapping };

// The base of everything behind a handle. Destroying it releases what it holds.
class Object {
public:
    explicit Object(ObjectKind kind) : m_kind(kind) { FaultHandleOpened(); }
    virtual ~Object() { FaultHandleClosed(); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    ObjectKind kind() const { return m_kind; }

private:
    const ObjectKind m_kind;
};

// The object of this kind behind the handle; null with ERROR_INVALID_HANDLE when it is another.
template <typename T>
T* ObjectOf(HANDLE handle, ObjectKind kind) {
    auto* const object = static_cast<Object*>(handle);
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE || object->kind() != kind) {
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<T*>(object);
}

// A new object as a handle; onFailure with ERROR_NOT_ENOUGH_MEMORY when memory is short.
template <typename T, typename... Arguments>
HANDLE NewHandle(HANDLE onFailure, Arguments&&... arguments) {
    Object* const object = new (std::nothrow) T(std::forward<Arguments>(arguments)...);
    if (object == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return onFailure;
    }
    return object;
}
