#include "dbglog/ProductInfo.h"

namespace LOGUTILS {

namespace {

// A function that not every version of the system has; null where it is missing.
template <typename Function>
Function* FindFunction(HMODULE module, const char* name) {
    if (module == nullptr) {
        return nullptr;
    }
    const auto function = reinterpret_cast<void (*)()>(GetProcAddress(module, name));
    return reinterpret_cast<Function*>(function);
}

// Size of OSVERSIONINFOEXW without its last part, as versions before it take it.
constexpr DWORD kBasicVersionSize = sizeof(OSVERSIONINFOW);
static_assert(sizeof(OSVERSIONINFOEXW) == 284 && kBasicVersionSize == 276);

}  // namespace

BOOL CSysInfo::IsWow64() {
    const auto isWow64Process =
        FindFunction<BOOL(HANDLE, BOOL*)>(GetModuleHandleW(WIDE("kernel32")), "IsWow64Process");
    BOOL wow64 = FALSE;
    if (isWow64Process != nullptr) {
        isWow64Process(GetCurrentProcess(), &wow64);
    }
    return wow64;
}

CSysInfo::CSysInfo() : m_sysInfo{} {
    if (!IsWow64()) {
        GetSystemInfo(&m_sysInfo);
        return;
    }
    const auto getNativeSystemInfo =
        FindFunction<void(SYSTEM_INFO*)>(GetModuleHandleA("kernel32"), "GetNativeSystemInfo");
    if (getNativeSystemInfo != nullptr) {
        getNativeSystemInfo(&m_sysInfo);
    }
}

CSysInfo::~CSysInfo() = default;

CWinVer::CWinVer() : m_osvi{}, m_bValid(FALSE) {
    for (const DWORD size : {DWORD{sizeof m_osvi}, kBasicVersionSize}) {
        m_osvi.dwOSVersionInfoSize = size;
        if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&m_osvi))) {
            m_bValid = TRUE;
            return;
        }
    }
}

CWinVer::~CWinVer() {
    m_bValid = FALSE;
}

int CWinVer::Major() const {
    return m_bValid ? static_cast<int>(m_osvi.dwMajorVersion) : -1;
}

int CWinVer::Minor() const {
    return m_bValid ? static_cast<int>(m_osvi.dwMinorVersion) : -1;
}

int IsWinPE() {
    WString commandLine;
    const bool known =
        ReadRegString(WIDE("SYSTEM\\Setup"), WIDE("CmdLine"), commandLine) == ERROR_SUCCESS;
    return known && commandLine.find(WIDE("winpeshl.exe")) != WString::npos ? 1 : 0;
}

}  // namespace LOGUTILS
