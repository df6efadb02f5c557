#include <algorithm>
#include <cstring>

#include "dbglog/ProductInfo.h"

namespace LOGUTILS {

namespace {

// The zero bytes behind a value: enough to end it as text, also when its size is odd.
constexpr std::size_t kPadding = 4;

}  // namespace

CRegistry::~CRegistry() {
    if (m_hKey != nullptr && RegCloseKey(m_hKey) == ERROR_SUCCESS) {
        m_hKey = nullptr;
    }
}

LSTATUS CRegistry::Open(const WCHAR* subKey) {
    if (m_hKey != nullptr) {
        return ERROR_SUCCESS;
    }
    const REGSAM access = CSysInfo::IsWow64() ? KEY_READ | KEY_WOW64_64KEY : KEY_READ;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, subKey, 0, access, &m_hKey);
}

LSTATUS CRegistry::ReadBytes(const WCHAR* name, std::vector<BYTE>* bytes) const {
    DWORD size = 0;
    // A failure shows again in the second query, with the same code.
    RegQueryValueExW(m_hKey, name, nullptr, nullptr, nullptr, &size);
    bytes->assign(size + kPadding, 0);
    const LSTATUS result = RegQueryValueExW(m_hKey, name, nullptr, nullptr, bytes->data(), &size);
    if (result == ERROR_SUCCESS) {
        bytes->resize(size + kPadding);
    }
    return result;
}

LSTATUS CRegistry::ReadNumber(const WCHAR* name, DWORD* number) const {
    BYTE bytes[sizeof(DWORD)] = {};
    DWORD size = sizeof bytes;
    const LSTATUS result = RegQueryValueExW(m_hKey, name, nullptr, nullptr, bytes, &size);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    if (size != sizeof bytes) {
        return ERROR_NOT_FOUND;
    }
    std::memcpy(number, bytes, sizeof bytes);
    return ERROR_SUCCESS;
}

LSTATUS CRegistry::ReadString(const WCHAR* name, WString& value) const {
    std::vector<BYTE> bytes;
    const LSTATUS result = ReadBytes(name, &bytes);
    if (result == ERROR_SUCCESS) {
        WString text(bytes.size() / sizeof(WCHAR), 0);
        std::memcpy(text.data(), bytes.data(), text.size() * sizeof(WCHAR));
        text.resize(text.find(WCHAR{0}));
        value = std::move(text);
    }
    return result;
}

LSTATUS ReadRegString(const WCHAR* subKey, const WCHAR* name, WString& value) {
    CRegistry key;
    const LSTATUS result = key.Open(subKey);
    return result == ERROR_SUCCESS ? key.ReadString(name, value) : result;
}

}  // namespace LOGUTILS
