// The process: its environment, its number and those of its threads.
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/FaultPoint.h"
#include "platform/posix/Environment.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"

namespace {

// The environment belongs to the whole process; this keeps at least the layer's own calls apart.
constinit std::mutex environmentLock;

// Asked for once, since each costs a system call and every log message carries both.
constinit std::atomic<DWORD> processId{0};
constinit thread_local DWORD threadId = 0;

// In a child that fork has made, for the thread that goes on there.
void ForgetIds() {
    processId.store(0, std::memory_order_relaxed);
    threadId = 0;
}

// False when the system cannot run it after fork: then the numbers must not be kept.
bool ForksAreWatched() {
    static constinit std::once_flag once;
    static constinit bool watched = false;
    std::call_once(once, [] { watched = pthread_atfork(nullptr, nullptr, ForgetIds) == 0; });
    return watched;
}

// False when a variable cannot have this name.
bool NameOfVariable(const WCHAR* wide, std::string* name) {
    if (wide == nullptr || *wide == 0) {
        return Fail(ERROR_INVALID_PARAMETER) != FALSE;
    }
    return ValueFromWide(wide, name);
}

}  // namespace

std::string TrustedEnvironment(const char* name) {
    const std::lock_guard guard(environmentLock);
    const char* const value = secure_getenv(name);
    return value != nullptr ? value : "";
}

DWORD GetEnvironmentVariableW(const WCHAR* name, WCHAR* buffer, DWORD size) {
    std::string bytes;
    if (FaultFails("GetEnvironmentVariableW") || !NameOfVariable(name, &bytes)) {
        return 0;
    }
    const std::lock_guard guard(environmentLock);
    const char* const value = std::getenv(bytes.c_str());
    if (value == nullptr) {
        SetLastError(ERROR_ENVVAR_NOT_FOUND);
        return 0;
    }
    SetLastError(ERROR_SUCCESS);
    const WString wide = WideFromValue(value);
    if (wide.size() >= size) {
        return static_cast<DWORD>(wide.size() + 1);
    }
    wide.copy(buffer, wide.size());
    buffer[wide.size()] = 0;
    return static_cast<DWORD>(wide.size());
}

BOOL SetEnvironmentVariableW(const WCHAR* name, const WCHAR* value) {
    std::string bytes;
    std::string valueBytes;
    if (FaultFails("SetEnvironmentVariableW") || !NameOfVariable(name, &bytes) ||
        (value != nullptr && !ValueFromWide(value, &valueBytes))) {
        return FALSE;
    }
    const std::lock_guard guard(environmentLock);
    const int result =
        value == nullptr ? unsetenv(bytes.c_str()) : setenv(bytes.c_str(), valueBytes.c_str(), 1);
    return result == 0 ? TRUE : Fail(CommonError(errno));
}

DWORD GetCurrentProcessId() {
    const DWORD known = processId.load(std::memory_order_relaxed);
    if (known != 0) {
        return known;
    }
    const auto id = static_cast<DWORD>(getpid());
    if (ForksAreWatched()) {
        processId.store(id, std::memory_order_relaxed);
    }
    return id;
}

DWORD GetCurrentThreadId() {
    if (threadId != 0) {
        return threadId;
    }
    const auto id = static_cast<DWORD>(gettid());
    if (ForksAreWatched()) {
        threadId = id;
    }
    return id;
}
