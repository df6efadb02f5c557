#include "dbglog/ProductInfo.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "dbglog/SplitText.h"
#include "platform/Text.h"

namespace LOGUTILS {

namespace {

using WStringView = std::basic_string_view<WCHAR>;

const char g_insideThisModule = 0;

// The component's root key; null for a component that has none.
const WCHAR* RootKey(int component) {
    switch (component) {
        case COMPONENT_ENGINE:
            return WIDE("SOFTWARE\\Velmora\\Tessaline\\Engine");
        case COMPONENT_MANAGEMENT:
            return WIDE("SOFTWARE\\Velmora\\Tessaline\\Management");
        case COMPONENT_PRODUCT:
            return WIDE("SOFTWARE\\Velmora\\Tessaline");
        default:
            return nullptr;
    }
}

// 0, or 122 when text and terminator do not fit.
int CopyIfFits(WStringView text, WCHAR* buffer, std::size_t capacity) {
    if (text.size() >= capacity) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return ERROR_SUCCESS;
}

bool BeginsWith(WStringView path, WStringView start) {
    return path.size() >= start.size() && EqualNoCase(path.substr(0, start.size()), start);
}

// The number at the start of the text, blanks in front of it skipped; 0 for no number. A number out
// of range gives the largest or the smallest int.
int LeadingNumber(const WString& text) {
    std::size_t at = std::min(text.find_first_not_of(WIDE(" \t")), text.size());
    const bool negative = at < text.size() && text[at] == '-';
    if (negative || (at < text.size() && text[at] == '+')) {
        ++at;
    }
    const std::int64_t limit = std::int64_t{std::numeric_limits<int>::max()} + (negative ? 1 : 0);
    std::int64_t number = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        number = std::min(number * 10 + (text[at] - '0'), limit);
    }
    return static_cast<int>(negative ? -number : number);
}

void ReadNumber(const CRegistry& key, const WCHAR* name, int& number) {
    WString text;
    if (key.ReadString(name, text) == ERROR_SUCCESS && !text.empty()) {
        number = LeadingNumber(text);
    }
}

// False when there is no version text.
bool ReadVersionText(const CRegistry& key, int& major, int& minor) {
    WString text;
    if (key.ReadString(WIDE("Version"), text) != ERROR_SUCCESS || text.empty()) {
        return false;
    }
    std::vector<WString> parts;
    SplitVersionString(text, parts);
    if (!parts.empty()) {
        major = LeadingNumber(parts[0]);
    }
    if (parts.size() > 1) {
        minor = LeadingNumber(parts[1]);
    }
    return true;
}

}  // namespace

void GetCurrentModulePath(WCHAR (&buffer)[kInfoPathCapacity]) {
    WCHAR path[kInfoPathCapacity] = {};
    MEMORY_BASIC_INFORMATION region = {};
    VirtualQuery(&g_insideThisModule, &region, sizeof region);
    // A base that was not found is null, which names the executable.
    GetModuleFileNameW(static_cast<HMODULE>(region.AllocationBase), path, kInfoPathCapacity);
    if (path[0] == 0) {
        GetModuleFileNameW(nullptr, path, kInfoPathCapacity);
    }
    path[kInfoPathCapacity - 1] = 0;
    std::copy_n(path, kInfoPathCapacity, buffer);
}

void GetCurrentModuleName(WCHAR* buffer, std::size_t capacity) {
    WCHAR path[kInfoPathCapacity];
    GetCurrentModulePath(path);
    const WStringView text = path;
    const std::size_t separator = text.rfind(WIDE('\\'));
    if (separator != WStringView::npos) {
        CopyIfFits(text.substr(separator + 1), buffer, capacity);
    }
}

int GetProductRegKey(int component, WCHAR* buffer, std::size_t capacity) {
    const WCHAR* key = RootKey(component);
    return key != nullptr ? CopyIfFits(key, buffer, capacity) : int{ERROR_INVALID_PARAMETER};
}

int GetInstallPath(int component, WCHAR (&buffer)[kInfoPathCapacity]) {
    const WCHAR* root = RootKey(component);
    if (root == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    WString key = root;
    if (component == COMPONENT_ENGINE) {
        key += WIDE("\\InstallPath");
    }
    const bool isProduct = component == COMPONENT_PRODUCT;
    WString path;
    const LSTATUS result =
        ReadRegString(key.c_str(), isProduct ? WIDE("RootPath") : WIDE("Path"), path);
    if (result != ERROR_SUCCESS) {
        return static_cast<int>(result);
    }
    if (path.empty()) {
        return ERROR_NOT_FOUND;
    }
    if (isProduct) {
        path += path.back() == WIDE('\\') ? WIDE("Update Manager") : WIDE("\\Update Manager");
    }
    return CopyIfFits(path, buffer, kInfoPathCapacity);
}

int FindComponentOfPath(const WCHAR* path, WCHAR (&installPath)[kInfoPathCapacity]) {
    for (const int component : {COMPONENT_ENGINE, COMPONENT_MANAGEMENT, COMPONENT_PRODUCT}) {
        installPath[0] = 0;
        GetInstallPath(component, installPath);
        // A plain prefix: no separator has to follow.
        if (installPath[0] != 0 && BeginsWith(path, installPath)) {
            return component;
        }
    }
    return COMPONENT_NONE;
}

int GetModuleComponent() {
    if (IsWinPE()) {
        return COMPONENT_WINPE;
    }
    WCHAR path[kInfoPathCapacity];
    GetCurrentModulePath(path);
    WCHAR installPath[kInfoPathCapacity];
    return path[0] != 0 ? FindComponentOfPath(path, installPath) : int{COMPONENT_NONE};
}

int GetProductVersion(int component, int& major, int& minor, int& update) {
    if (component == COMPONENT_PRODUCT) {
        return GetProductVersion(COMPONENT_ENGINE, major, minor, update) == ERROR_SUCCESS
                   ? int{ERROR_SUCCESS}
                   : GetProductVersion(COMPONENT_MANAGEMENT, major, minor, update);
    }
    const bool isEngine = component == COMPONENT_ENGINE;
    if (!isEngine && component != COMPONENT_MANAGEMENT) {
        return ERROR_NOT_FOUND;
    }
    const WString path =
        WString(RootKey(component)) + (isEngine ? WIDE("\\Version") : WIDE("\\Console"));
    CRegistry key;
    const LSTATUS result = key.Open(path.c_str());
    if (result != ERROR_SUCCESS) {
        return static_cast<int>(result);
    }
    if (isEngine) {
        ReadNumber(key, WIDE("Major"), major);
        ReadNumber(key, WIDE("Minor"), minor);
    } else if (!ReadVersionText(key, major, minor)) {
        return ERROR_NOT_FOUND;
    }
    ReadNumber(key, WIDE("UpdateVersionNumber"), update);
    return major == 0 && minor == 0 ? int{ERROR_NOT_FOUND} : int{ERROR_SUCCESS};
}

void SplitVersionString(const WString& text, std::vector<WString>& parts) {
    SplitText(text, WIDE('.'), parts);
}

}  // namespace LOGUTILS
