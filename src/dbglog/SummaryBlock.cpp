// What a new log file begins with: which product, which machine, how to raise the level.
#include "dbglog/FileOutput.h"
#include "dbglog/LogCfgShared.h"
#include "dbglog/ModuleFile.h"
#include "dbglog/ProductInfo.h"
#include "platform/Text.h"

namespace NSDBG {

namespace {

constexpr std::size_t kLineCapacity = 1024;
constexpr std::size_t kComputerNameCapacity = 129;  // units, terminator included

struct ProductVersion {
    int major = 0;
    int minor = 0;
    int update = 0;
};

// All zero when the executable has no version resource.
ProductVersion VersionOfExecutable() {
    VS_FIXEDFILEINFO info;
    if (!ReadFileVersion(ModulePath(nullptr), &info)) {
        return {};
    }
    return {static_cast<int>(info.dwFileVersionMS >> 16),
            static_cast<int>(info.dwFileVersionMS & 0xFFFF),
            static_cast<int>(info.dwFileVersionLS >> 8 & 0xFF)};
}

ProductVersion InstalledVersion() {
    const int component = CLogCfgShared::Instance().EffectiveComponent();
    if (component == LOGUTILS::COMPONENT_NONE || component == LOGUTILS::COMPONENT_WINPE) {
        return VersionOfExecutable();
    }
    ProductVersion version;
    LOGUTILS::GetProductVersion(component, version.major, version.minor, version.update);
    return version;
}

void FormatProduct(WCHAR (&line)[kLineCapacity]) {
    constexpr const WCHAR* kProduct = WIDE("velmora Tessaline");
    const ProductVersion version = InstalledVersion();
    if (version.update == 0) {
        WideFormat(line, kLineCapacity, WIDE("Product Info: [Velmora Labs] [%s] Ver[r%d.%d]"),
                   kProduct, version.major, version.minor);
    } else {
        WideFormat(line, kLineCapacity,
                   WIDE("Product Info: [Velmora Labs] [%s] Ver[r%d.%d (Update %d)]"), kProduct,
                   version.major, version.minor, version.update);
    }
}

const WCHAR* PlatformName(WORD architecture) {
    switch (architecture) {
        case PROCESSOR_ARCHITECTURE_INTEL:
            return WIDE("X86");
        case PROCESSOR_ARCHITECTURE_IA64:
            return WIDE("IA64");
        case PROCESSOR_ARCHITECTURE_AMD64:
            return WIDE("X64");
        default:
            return WIDE("Unknown");
    }
}

void FormatSystem(WCHAR (&line)[kLineCapacity]) {
    WCHAR computer[kComputerNameCapacity] = {};
    DWORD size = kComputerNameCapacity;
    if (!GetComputerNameW(computer, &size)) {
        computer[0] = 0;
    }
    const LOGUTILS::CWinVer system;
    const LOGUTILS::CSysInfo machine;
    WideFormat(line, kLineCapacity,
               WIDE("OS      Info: Computer Name[%s] Version[%d.%d] Platform[%s]"), computer,
               system.Major(), system.Minor(), PlatformName(machine.ProcessorArchitecture()));
}

}  // namespace

void CFileOutput::WriteSummary() {
    WCHAR product[kLineCapacity];
    WCHAR system[kLineCapacity];
    FormatProduct(product);
    FormatSystem(system);
    const WCHAR* const lines[] = {
        WIDE("================ SUMMARY LOG ======================="),
        product,
        system,
        WIDE("Log level of each module can be controlled by registry key:"),
        WIDE("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Tessaline\\Engine\\Debug\\ModuleName:DWORD]"),
        WIDE("====================================================="),
    };
    Header header;
    MakeHeader(header, m_nLevel, 0);
    WriteLineW({}, WIDE("[   Date        Time      Level  PID     TID   ErrCode    ] ......."),
               false);
    for (const WCHAR* line : lines) {
        WriteLineW(header, line, false);
    }
}

}  // namespace NSDBG
