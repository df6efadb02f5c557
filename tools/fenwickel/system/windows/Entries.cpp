#include "system/Entries.h"

#include "platform/Platform.h"
#include "system/Paths.h"
#include "system/windows/FileQuery.h"

namespace {

std::optional<BY_HANDLE_FILE_INFORMATION> QueryFile(const WString& path) {
    const OwnedHandle file = OpenForQuery(path);
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.get(), &information)) {
        return std::nullopt;
    }
    return information;
}

// Whether the entry stands for another one, as a symbolic link or a junction does. Files that are
// stored in special ways have reparse points, too, and are files all the same.
bool IsSurrogate(const WString& path) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(path.c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return true;  // unknown: not sure to have content of its own
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

std::uint64_t HostFileClock() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return (std::uint64_t{now.dwHighDateTime} << 32U) | now.dwLowDateTime;
}

bool HostIsFolder(const WString& path) {
    const auto information = QueryFile(path);
    return information && (information->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool HostIsRegularFile(const WString& path) {
    const OwnedHandle file = OpenForQuery(path);
    return file && GetFileType(file.get()) == FILE_TYPE_DISK && !HostIsFolder(path);
}

std::optional<std::uint64_t> HostFileSystemId(const WString& path) {
    if (const auto information = QueryFile(path)) {
        return information->dwVolumeSerialNumber;
    }
    const WString parent = HostParentFolder(path);
    return parent.size() < path.size() ? HostFileSystemId(parent) : std::nullopt;
}

bool HostSameFile(const WString& first, const WString& second) {
    // Both stay open while they are compared: a number is only taken as long as its file is there.
    const OwnedHandle firstFile = OpenForQuery(first);
    const auto one = QueryFile(first);
    const auto other = QueryFile(second);
    return firstFile && one && other && one->dwVolumeSerialNumber == other->dwVolumeSerialNumber &&
           one->nFileIndexHigh == other->nFileIndexHigh &&
           one->nFileIndexLow == other->nFileIndexLow;
}
