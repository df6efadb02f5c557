// Which installation of the product this library belongs to, and what it runs on.
//
// Registry reads go to HKEY_LOCAL_MACHINE in the 64-bit view. No shared state: every function may
// run on any thread. Error codes are Windows codes; nothing here writes to the log.
#pragma once

#include <cstddef>
#include <vector>

#include "platform/Platform.h"

namespace LOGUTILS {

// An installed part of the product. The same numbers are bits of the install flags.
enum ProductComponent : int {
    COMPONENT_NONE = 0,
    COMPONENT_ENGINE = 1,
    COMPONENT_MANAGEMENT = 2,
    COMPONENT_PRODUCT = 4,  // the product's root
    COMPONENT_WINPE = 8,    // preinstallation environment
};

inline constexpr std::size_t kInfoPathCapacity = 512;  // units, terminator included

// Holds one open key under HKEY_LOCAL_MACHINE, opened for reading.
class CRegistry {
public:
    CRegistry() = default;
    CRegistry(const CRegistry&) = delete;
    CRegistry& operator=(const CRegistry&) = delete;
    virtual ~CRegistry();

    // Opens the sub-key. Returns the registry's code; 0 without a look when a key is open already.
    LSTATUS Open(const WCHAR* subKey);

    // The value's bytes with four zero bytes behind them. The value's type is not looked at.
    LSTATUS ReadBytes(const WCHAR* name, std::vector<BYTE>* bytes) const;

    // A value of four bytes, whatever its type. 234 for a longer one, 1168 for a shorter one;
    // number is set on success only.
    LSTATUS ReadNumber(const WCHAR* name, DWORD* number) const;

    // The value as text up to its first zero, whatever its type; set on success only.
    LSTATUS ReadString(const WCHAR* name, WString& value) const;

private:
    HKEY m_hKey = nullptr;
};

// The machine as a native process sees it.
class CSysInfo {
public:
    CSysInfo();
    virtual ~CSysInfo();

    // True for a 32-bit process on 64-bit Windows.
    static BOOL IsWow64();

    WORD ProcessorArchitecture() const { return m_sysInfo.wProcessorArchitecture; }

private:
    SYSTEM_INFO m_sysInfo;
};

// The operating system's version.
class CWinVer {
public:
    CWinVer();
    virtual ~CWinVer();

    // -1 when the query failed.
    int Major() const;
    int Minor() const;

private:
    OSVERSIONINFOEXW m_osvi;
    BOOL m_bValid;
};

// Opens the key and reads the value as CRegistry::ReadString does.
LSTATUS ReadRegString(const WCHAR* subKey, const WCHAR* name, WString& value);

// 1 in the preinstallation environment, else 0.
int IsWinPE();

// Full path of the module that holds this code; of the executable when that is unknown.
void GetCurrentModulePath(WCHAR (&buffer)[kInfoPathCapacity]);

// Its file name. The buffer stays as it is when the name does not fit.
void GetCurrentModuleName(WCHAR* buffer, std::size_t capacity);

// The component's root key. 0, 87 for no component that has one, or 122 when it does not fit.
int GetProductRegKey(int component, WCHAR* buffer, std::size_t capacity);

// Where the component is installed. 0, 87, 122, 1168 for an empty path, or a registry code; the
// buffer is set on success only.
int GetInstallPath(int component, WCHAR (&buffer)[kInfoPathCapacity]);

// The first component, of engine, management and product, whose install path is not empty and
// begins the path, ignoring case; its install path is put into the buffer, whose content is
// undefined for COMPONENT_NONE.
int FindComponentOfPath(const WCHAR* path, WCHAR (&installPath)[kInfoPathCapacity]);

// The component that this module's path belongs to; COMPONENT_WINPE in that environment.
int GetModuleComponent();

// Version of an installed component. 0, 1168 when there is none, or a registry code. An output is
// written only when its value was read, so the caller sets all three to 0 first.
int GetProductVersion(int component, int& major, int& minor, int& update);

// Appends the pieces between the points, without empty ones.
void SplitVersionString(const WString& text, std::vector<WString>& parts);

}  // namespace LOGUTILS
