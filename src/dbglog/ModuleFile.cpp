#include "dbglog/ModuleFile.h"

#include <cstring>
#include <vector>

namespace {

constexpr DWORD kLongestPath = 32768;
constexpr DWORD kVersionSignature = 0xFEEF04BD;

}  // namespace

WString ModulePath(HMODULE module) {
    WString path(kLongestPath, 0);
    const DWORD length = GetModuleFileNameW(module, path.data(), kLongestPath);
    path.resize(length < kLongestPath ? length : 0);
    return path;
}

WString FileNameOf(const WString& path) {
    return path.substr(path.find_last_of(WIDE('\\')) + 1);
}

bool ReadFileVersion(const WString& path, VS_FIXEDFILEINFO* info) {
    DWORD ignored = 0;
    std::vector<BYTE> resource(GetFileVersionInfoSizeW(path.c_str(), &ignored));
    void* block = nullptr;
    UINT length = 0;
    if (resource.empty() ||
        !GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(resource.size()),
                             resource.data()) ||
        !VerQueryValueW(resource.data(), WIDE("\\"), &block, &length) || length < sizeof *info) {
        return false;
    }
    VS_FIXEDFILEINFO found;
    std::memcpy(&found, block, sizeof found);
    if (found.dwSignature != kVersionSignature) {
        return false;
    }
    *info = found;
    return true;
}
