// The process: its environment and its number.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "platform/FaultPoint.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"

namespace {

// The environment belongs to the whole process; this keeps at least the layer's own calls apart.
constinit std::mutex environmentLock;

// False when a variable cannot have this name.
bool NameOfVariable(const WCHAR* wide, std::string* name) {
    if (wide == nullptr || *wide == 0) {
        return Fail(ERROR_INVALID_PARAMETER) != FALSE;
    }
    return ValueFromWide(wide, name);
}

}  // namespace

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
    return static_cast<DWORD>(getpid());
}
