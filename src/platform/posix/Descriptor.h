// File descriptors.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/Platform.h"

// The descriptor of a handle that CreateFileW gave, still the handle's own. -1 with
// ERROR_INVALID_HANDLE for anything else.
int FileDescriptorOf(HANDLE file);

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
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() { Reset(-1); }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Reset(std::exchange(other.m_number, -1));
        return *this;
    }

    explicit operator bool() const { return m_number >= 0; }
    int get() const { return m_number; }

private:
    void Reset(int number) {
        if (m_number >= 0) {
            close(m_number);
        }
        m_number = number;
    }

    int m_number;
};
