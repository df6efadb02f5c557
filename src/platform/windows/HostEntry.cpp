// What stands at a path, and how other programs and the file systems see names and times.
#include <algorithm>

#include "platform/Host.h"
#include "platform/Platform.h"
#include "platform/Text.h"

namespace {

// Whether the entry stands for another one, as a symbolic link or a junction does. Files that are
// stored in special ways have reparse points, too, and are files all the same.
bool IsSurrogate(const WString& path) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(path.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return true;  // not to be told: nothing that is sure to have content of its own
    }
    FindClose(search);
    return IsReparseTagNameSurrogate(entry.dwReserved0);
}

}  // namespace

HostEntry HostEntryAt(const WString& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD code = GetLastError();
        const bool isMissing = code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
        return isMissing ? HostEntry::Missing : HostEntry::Unknown;
    }
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 && IsSurrogate(path)) {
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
