// What the file system says about a name, and making folders.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/FaultPoint.h"
#include "platform/Folder.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Errors.h"
#include "platform/posix/FileTime.h"
#include "platform/posix/Names.h"

namespace {

constexpr mode_t kNewFolderMode = 0755;  // less the process's umask

void FillAttributes(const struct statx& status, WIN32_FILE_ATTRIBUTE_DATA* data) {
    const bool folder = S_ISDIR(status.stx_mode);
    const std::uint64_t size = folder ? 0 : status.stx_size;
    data->dwFileAttributes = folder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
    FillTimes(status, data);
    data->nFileSizeHigh = static_cast<DWORD>(size >> 32);
    data->nFileSizeLow = static_cast<DWORD>(size);
}

}  // namespace

BOOL GetFileAttributesExW(const WCHAR* path, GET_FILEEX_INFO_LEVELS, void* data) {
    if (FaultFails("GetFileAttributesExW")) {
        return FALSE;
    }
    std::string bytes;
    struct statx status;
    if (!PathFromWide(path, &bytes)) {
        return FALSE;
    }
    if (statx(AT_FDCWD, bytes.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
        return Fail(OpenErrorAt(errno, bytes));
    }
    FillAttributes(status, static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data));
    return TRUE;
}

BOOL GetFileInformationByHandleEx(HANDLE file, FILE_INFO_BY_HANDLE_CLASS, void* data,
                                  DWORD byteCount) {
    if (FaultFails("GetFileInformationByHandleEx")) {
        return FALSE;
    }
    const int descriptor = FileDescriptorOf(file);
    struct stat status;
    if (descriptor < 0) {
        return FALSE;
    }
    if (byteCount < sizeof(FILE_STANDARD_INFO)) {
        return Fail(ERROR_BAD_LENGTH);
    }
    if (fstat(descriptor, &status) != 0) {
        return Fail(TransferError(errno));
    }
    constexpr LONGLONG kBlock = 512;
    FILE_STANDARD_INFO info{};
    info.AllocationSize.QuadPart = status.st_blocks * kBlock;
    info.EndOfFile.QuadPart = status.st_size;
    info.NumberOfLinks = static_cast<DWORD>(status.st_nlink);
    info.DeletePending = status.st_nlink == 0;
    *static_cast<FILE_STANDARD_INFO*>(data) = info;
    return TRUE;
}

BOOL CreateDirectoryW(const WCHAR* path, SECURITY_ATTRIBUTES* security) {
    if (FaultFails("CreateDirectoryW")) {
        return FALSE;
    }
    if (security != nullptr) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    std::string bytes;
    if (!PathFromWide(path, &bytes)) {
        return FALSE;
    }
    return mkdir(bytes.c_str(), kNewFolderMode) == 0 ? TRUE : Fail(NameError(errno));
}

bool GrantLocalServiceAccess(const WCHAR*) {
    return true;
}

void CompressFolder(const WCHAR*) {}
