// What a HANDLE points to: one heap object per open file, search, semaphore, mutex, event or
// mapping.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "platform/FaultPoint.h"
#include "platform/Platform.h"
#include "platform/posix/Errors.h"

enum class ObjectKind { File, Search, Semaphore, Mutex, Event, Mapping };

// The base of everything behind a handle. Destroying it releases what it holds.
class Object {
public:
    explicit Object(ObjectKind kind) : kind_(kind) { FaultHandleOpened(); }
    virtual ~Object() { FaultHandleClosed(); }
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    ObjectKind kind() const { return kind_; }

private:
    const ObjectKind kind_;
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

// The descriptor of a handle that CreateFileW gave, still the handle's own. -1 with
// ERROR_INVALID_HANDLE for anything else.
int FileDescriptorOf(HANDLE file);

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

// Moves a new descriptor that has the number of a standard stream, without which the host was
// started: what the host prints must not end up in it. -1 with errno on failure, or when given -1.
inline int BesideStandardStreams(int descriptor) {
    if (descriptor < 0 || descriptor > STDERR_FILENO) {
        return descriptor;
    }
    const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int error = errno;
    close(descriptor);
    errno = error;
    return moved;
}

// Owns a file descriptor.
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { Reset(-1); }
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Reset(std::exchange(other.number_, -1));
        return *this;
    }

    explicit operator bool() const { return number_ >= 0; }
    int get() const { return number_; }

private:
    void Reset(int number) {
        if (number_ >= 0) {
            close(number_);
        }
        number_ = number;
    }

    int number_;
};
