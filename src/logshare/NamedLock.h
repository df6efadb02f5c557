// Holding named mutexes, and making objects that every account may open (on Linux: every process of
// the account).
#pragma once

#include <atomic>

#include "platform/Platform.h"

// Remembers that a wait for a mutex has timed out. Until the mutex was free again it is only tried,
// so that a process that was stopped while it held the mutex delays each thread here at most once.
class LockPatience {
public:
    DWORD Limit(DWORD milliseconds) const { return m_isOver.load() ? 0 : milliseconds; }
    void Learn(DWORD result) {
        if (result == WAIT_TIMEOUT) {
            m_isOver.store(true);
        } else if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) {
            m_isOver.store(false);
        }
    }

    // For another mutex.
    void Renew() { m_isOver.store(false); }

private:
    std::atomic<bool> m_isOver{false};
};

// Waits for a mutex and releases it at the end of the scope.
//
// Owned() is false after a time-out and after the last owner died with the mutex: what it guards
// may be half written then, so the caller leaves it alone. The release that follows makes the mutex
// sound again for the next one.
class NamedLock {
public:
    NamedLock(HANDLE mutex, DWORD milliseconds)
        : m_mutex(mutex), m_result(WaitForSingleObject(mutex, milliseconds)) {}
    NamedLock(HANDLE mutex, DWORD milliseconds, LockPatience* patience)
        : NamedLock(mutex, patience->Limit(milliseconds)) {
        patience->Learn(m_result);
    }
    ~NamedLock() { ReleaseMutex(m_mutex); }
    NamedLock(const NamedLock&) = delete;
    NamedLock& operator=(const NamedLock&) = delete;

    bool Owned() const { return m_result == WAIT_OBJECT_0; }

private:
    HANDLE m_mutex;
    DWORD m_result;
};

// Security attributes with a null access list. Must outlive the call that they are passed to.
class OpenToAll {
public:
    OpenToAll() {
        InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION);
        SetSecurityDescriptorDacl(&m_descriptor, TRUE, nullptr, FALSE);
        m_attributes.nLength = sizeof m_attributes;
        m_attributes.lpSecurityDescriptor = &m_descriptor;
        m_attributes.bInheritHandle = FALSE;
    }
    OpenToAll(const OpenToAll&) = delete;
    OpenToAll& operator=(const OpenToAll&) = delete;

    SECURITY_ATTRIBUTES* get() { return &m_attributes; }

private:
    SECURITY_DESCRIPTOR m_descriptor;
    SECURITY_ATTRIBUTES m_attributes;
};

// Creates the mapping under the global name, or under the local one where the global one is denied.
// Null with the last error set on failure; ERROR_ALREADY_EXISTS as last error when it existed. The
// caller closes it.
HANDLE CreateSharedBlock(const WString& globalName, const WString& localName, DWORD byteCount);

// Opens it under the global name, else under the local one. Null when there is neither.
HANDLE OpenSharedBlock(const WString& globalName, const WString& localName);

// Creates an event that resets itself. Null and last error as for CreateSharedBlock; the
// caller closes it.
HANDLE CreateSharedEvent(const WString& name);
