// The registry functions, over the registry file.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "platform/Text.h"
#include "platform/posix/Environment.h"
#include "platform/posix/Handle.h"
#include "platform/posix/RegistryFile.h"

// An open key: its values at the moment when it was opened.
struct RegistryKey {
    RegistryValues values;
};

namespace {

constexpr off_t kLargestFile = 16 << 20;

std::string FilePath() {
    const std::string given = TrustedEnvironment("FENWICKEL_REGISTRY");
    return given.empty() ? "/etc/fenwickel/registry.reg" : given;
}

// The whole file; false when there is none to read, with the code for it.
bool ReadRegistryFile(std::string* bytes, LSTATUS* code) {
    // Without waiting, should the path name a pipe.
    const std::string path = FilePath();
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file) {
        *code = errno == EACCES || errno == EPERM ? ERROR_ACCESS_DENIED : ERROR_FILE_NOT_FOUND;
        return false;
    }
    struct stat status;
    *code = ERROR_FILE_NOT_FOUND;
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size > kLargestFile) {
        return false;
    }
    bytes->resize(static_cast<std::size_t>(status.st_size));
    std::size_t done = 0;
    while (done < bytes->size()) {
        const ssize_t count = Uninterrupted(
            [&] { return read(file.get(), bytes->data() + done, bytes->size() - done); });
        if (count <= 0) {
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    bytes->resize(done);
    return true;
}

LSTATUS CopyValue(const RegistryValue& value, BYTE* data, DWORD* byteCount) {
    if (byteCount == nullptr) {
        return static_cast<LSTATUS>(data == nullptr ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER);
    }
    const auto size = static_cast<DWORD>(value.data.size());
    const DWORD capacity = std::exchange(*byteCount, size);
    if (data == nullptr || size == 0) {
        return ERROR_SUCCESS;
    }
    if (capacity < size) {
        return ERROR_MORE_DATA;
    }
    std::memcpy(data, value.data.data(), size);
    return ERROR_SUCCESS;
}

LSTATUS FaultCode() {
    return static_cast<LSTATUS>(GetLastError());
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY parent, const WCHAR* subKey, DWORD options, REGSAM access, HKEY* key) {
    if (FaultFails("RegOpenKeyExW")) {
        return FaultCode();
    }
    if (parent != HKEY_LOCAL_MACHINE) {
        return ERROR_INVALID_HANDLE;
    }
    if (key == nullptr || options != 0) {
        return ERROR_INVALID_PARAMETER;
    }
    if ((access & ~KEY_WOW64_64KEY) != KEY_READ) {
        return ERROR_ACCESS_DENIED;
    }
    const std::basic_string_view<WCHAR> below = subKey != nullptr ? subKey : WIDE("");
    if (below.starts_with(WCHAR{'\\'})) {
        return ERROR_BAD_PATHNAME;
    }
    std::string bytes;
    LSTATUS code = ERROR_SUCCESS;
    if (!ReadRegistryFile(&bytes, &code)) {
        return code;
    }
    const WString path = RegistryPath(WIDE("HKEY_LOCAL_MACHINE\\") + WString(below));
    const RegistryKeys keys = ParseRegistry(bytes);
    const auto found = FindRegistryKey(keys, path);
    if (found == keys.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    // A key that only its sub-keys name has no values.
    *key = new (std::nothrow) RegistryKey{found->first == path ? found->second : RegistryValues()};
    return static_cast<LSTATUS>(*key != nullptr ? ERROR_SUCCESS : ERROR_NOT_ENOUGH_MEMORY);
}

LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* byteCount) {
    if (FaultFails("RegQueryValueExW")) {
        return FaultCode();
    }
    if (key == nullptr || key == HKEY_LOCAL_MACHINE) {
        return ERROR_INVALID_HANDLE;
    }
    if (reserved != nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    const auto found = key->values.find(UpperCase(name != nullptr ? name : WIDE("")));
    if (found == key->values.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    const LSTATUS code = CopyValue(found->second, data, byteCount);
    if (type != nullptr && code != ERROR_INVALID_PARAMETER) {
        *type = found->second.type;
    }
    return code;
}

LSTATUS RegCloseKey(HKEY key) {
    if (FaultFails("RegCloseKey")) {
        return FaultCode();
    }
    if (key == nullptr) {
        return ERROR_INVALID_HANDLE;
    }
    if (key != HKEY_LOCAL_MACHINE) {
        delete key;
    }
    return ERROR_SUCCESS;
}
