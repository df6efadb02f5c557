#include "platform/posix/Errors.h"

#include <sys/stat.h>

#include <cerrno>

namespace {

constinit thread_local DWORD threadsLastError = ERROR_SUCCESS;

bool ParentExists(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos || slash == 0) {
        return true;
    }
    struct stat status;
    return stat(path.substr(0, slash).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

DWORD GetLastError() {
    return threadsLastError;
}

void SetLastError(DWORD code) {
    threadsLastError = code;
}

BOOL Fail(DWORD code) {
    threadsLastError = code;
    return FALSE;
}

DWORD CommonError(int error) {
    switch (error) {
        case EACCES:
        case EPERM:
        case EISDIR:
            return ERROR_ACCESS_DENIED;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        case ENOSPC:
        case EDQUOT:
            return ERROR_DISK_FULL;
        case EFBIG:
        case EOVERFLOW:
            return ERROR_FILE_TOO_LARGE;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case EIO:
            return ERROR_IO_DEVICE;
        case ETXTBSY:
        case EBUSY:
            return ERROR_SHARING_VIOLATION;
        case ELOOP:
            return ERROR_CANT_RESOLVE_FILENAME;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        case EINVAL:
            return ERROR_INVALID_PARAMETER;
        case EOPNOTSUPP:
        case ENOSYS:
            return ERROR_NOT_SUPPORTED;
        default:
            return ERROR_GEN_FAILURE;
    }
}

DWORD OpenError(int error, bool parentExists) {
    switch (error) {
        case ENOENT:
            return parentExists ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case EEXIST:
            return ERROR_FILE_EXISTS;
        case ENXIO:  // a socket, or a pipe without a reader
        case ENODEV:
            return ERROR_ACCESS_DENIED;
        default:
            return CommonError(error);
    }
}

DWORD OpenErrorAt(int error, const std::string& path) {
    return OpenError(error, error != ENOENT || ParentExists(path));
}

DWORD NameError(int error) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EXDEV:
            return ERROR_NOT_SAME_DEVICE;
        default:
            return CommonError(error);
    }
}

DWORD LockError(int error) {
    switch (error) {
        case EWOULDBLOCK:
            return ERROR_SHARING_VIOLATION;
        case ENOLCK:
            return ERROR_LOCK_VIOLATION;
        default:
            return CommonError(error);
    }
}

DWORD TransferError(int error) {
    // The descriptor is valid for as long as its handle is: this is a missing right.
    return error == EBADF ? ERROR_ACCESS_DENIED : CommonError(error);
}

DWORD SearchError(int error) {
    switch (error) {
        case ENOENT:
            return ERROR_PATH_NOT_FOUND;
        case ENOTDIR:
            return ERROR_DIRECTORY;
        default:
            return CommonError(error);
    }
}
