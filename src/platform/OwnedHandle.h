// The owner of a handle that CloseHandle closes: of a file, an event, a mutex, a mapping, a
// process.
#pragma once

#include <cstddef>
#include <utility>

#include "platform/Platform.h"

// Null when it owns nothing. INVALID_HANDLE_VALUE, which a file that could not be opened gives,
// counts as nothing. Destroying it leaves the last error as it was.
class OwnedHandle {
public:
    OwnedHandle() = default;
    explicit OwnedHandle(HANDLE handle)
        : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    OwnedHandle(OwnedHandle&& other) noexcept : m_handle(other.release()) {}
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~OwnedHandle() { reset(); }

    explicit operator bool() const { return m_handle != nullptr; }
    bool operator==(std::nullptr_t) const { return m_handle == nullptr; }
    HANDLE get() const { return m_handle; }

    // Gives the handle up: it is the caller's to close.
    HANDLE release() { return std::exchange(m_handle, nullptr); }

    // Owns the other handle instead. Leaves the last error as it was.
    void reset(HANDLE handle = nullptr) {
        const DWORD code = GetLastError();
        Close();
        SetLastError(code);
        m_handle = handle == INVALID_HANDLE_VALUE ? nullptr : handle;
    }

    // Closes the handle. False with the last error set when the system reports a failure; the
    // object owns nothing afterwards in any case.
    bool Close() {
        const HANDLE handle = release();
        return handle == nullptr || CloseHandle(handle) != FALSE;
    }

private:
    HANDLE m_handle = nullptr;
};
