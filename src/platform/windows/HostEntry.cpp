// What stands at a path, and how other programs and the file systems see names and times.
#include <algorithm>

#include "platform/Host.h"
#include "platform/Platform.h"
#include "platform/Text.h"

HostEntry HostEntryAt(const WString& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD code = GetLastError();
        const bool isMissing = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
        return isMissing ? HostEntry::Missing : HostEntry::Unknown;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return HostEntry::Link;
    }
    if ((attributes & FILE_ATTRIBUTE_DEVICE) != 0) {
        return HostEntry::Other;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? HostEntry::Folder : HostEntry::File;
}

std::string HostNativePath(const WString& path) {
    std::string text = Utf8FromWide(path);
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

std::uint64_t HostFileClock() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return (std::uint64_t{now.dwHighDateTime} << 32U) | now.dwLowDateTime;
}
