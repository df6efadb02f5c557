#include "system/Paths.h"

#include <algorithm>

#include "platform/Platform.h"
#include "platform/Text.h"
#include "system/windows/Environment.h"
#include "system/windows/FileQuery.h"

namespace {

// A root keeps its closing separator: without it "C:" is the current folder of the drive, and a
// volume's name is its device.
bool IsRoot(const WString& path) {
    if (path.size() == 3 && path.ends_with(L":\\")) {
        return true;  // also of a drive that is not there, of which the system knows nothing
    }
    WString volume(path.size() + MAX_PATH, L'\0');
    if (!GetVolumePathNameW(path.c_str(), volume.data(), static_cast<DWORD>(volume.size()))) {
        return false;
    }
    return path == volume.c_str();
}

WString FullPath(const WString& path) {
    WString full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    const auto capacity = static_cast<DWORD>(full.size());
    full.resize(GetFullPathNameW(path.c_str(), capacity, full.data(), nullptr));
    return full;
}

// The name under which the system knows the open file, without the prefix that lifts the length
// limit (a share keeps it).
WString FinalPath(HANDLE file) {
    WString path(GetFinalPathNameByHandleW(file, nullptr, 0, FILE_NAME_NORMALIZED), L'\0');
    const auto capacity = static_cast<DWORD>(path.size());
    path.resize(GetFinalPathNameByHandleW(file, path.data(), capacity, FILE_NAME_NORMALIZED));
    const bool hasDrive = path.size() > 5 && path.starts_with(L"\\\\?\\") && path[5] == L':';
    return hasDrive ? path.substr(4) : path;
}

}  // namespace

WString HostWidePath(std::string_view argument) {
    WString path = FullPath(WideFromUtf8(argument));
    if (path.ends_with(L'\\') && !IsRoot(path)) {
        path.pop_back();
    }
    return path;
}

std::string HostDisplayText(const WString& text) {
    return Utf8FromWide(text);
}

WString HostParentFolder(const WString& path) {
    const std::size_t separator = path.find_last_of(L'\\');
    if (separator == WString::npos || IsRoot(path)) {
        return path;
    }
    const WString withSeparator = path.substr(0, separator + 1);
    return IsRoot(withSeparator) ? withSeparator : path.substr(0, separator);
}

WString HostResolvedPath(const WString& given) {
    const WString path = FullPath(given);
    if (const OwnedHandle file = OpenForQuery(path)) {
        return FinalPath(file.get());
    }
    const WString parent = HostParentFolder(path);
    if (parent.size() >= path.size()) {
        return path;
    }
    // Names that differ in case alone will be one file, so the part to come is folded.
    WString rest = path.substr(parent.size() - (parent.ends_with(L'\\') ? 1 : 0));
    CharLowerBuffW(rest.data(), static_cast<DWORD>(rest.size()));
    WString resolved = HostResolvedPath(parent);
    if (resolved.ends_with(L'\\')) {
        resolved.pop_back();
    }
    return resolved + rest;
}

WString HostStateFolder() {
    const WString folder = Environment(L"LOCALAPPDATA");
    return folder.empty() ? WString() : folder + L"\\fenwickel";
}

std::string HostNativePath(const WString& path) {
    std::string text = Utf8FromWide(path);
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}
