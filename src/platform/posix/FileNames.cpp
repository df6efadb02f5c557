// Names of files: delete, rename, exists.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/posix/FileLock.h"
#include "platform/posix/Names.h"
#include "platform/posix/Rename.h"

namespace {

// Makes a change of names in the path's folder durable. It reports no failure: the change holds,
// and a caller could not undo it.
void SyncParentFolder(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (descriptor) {
        fsync(descriptor.get());
    }
}

// Claims the file that path names for removal or renaming: no other handle is open in a sharing
// mode. A link, pipe or socket is claimed without a lock. False, with the last error set, when the
// name is missing, a folder, or in use.
bool ClaimName(const std::string& path, Descriptor* claim) {
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
        return Fail(OpenErrorAt(errno, path)) != FALSE;
    }
    if (S_ISDIR(status.st_mode)) {
        return Fail(ERROR_ACCESS_DENIED) != FALSE;
    }
    if (!S_ISREG(status.st_mode)) {
        return true;
    }
    *claim = OpenLocked(path, O_RDONLY | O_NOFOLLOW, LOCK_EX, true);
    return static_cast<bool>(*claim);
}

// Claims a file that is about to be replaced, if there is one. The names that it may not replace
// and the files that are in use give the one code that Windows has for both.
bool ClaimReplaced(const std::string& path, Descriptor* claim) {
    if (ClaimName(path, claim)) {
        return true;
    }
    switch (GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
            return true;
        case ERROR_SHARING_VIOLATION:
            return Fail(ERROR_ACCESS_DENIED) != FALSE;
        default:
            return false;
    }
}

int RenameReplacing(const std::string& oldPath, const std::string& newPath) {
    return rename(oldPath.c_str(), newPath.c_str()) == 0 ? 0 : errno;
}

}  // namespace

int RenameByLink(const std::string& oldPath, const std::string& newPath) {
    if (link(oldPath.c_str(), newPath.c_str()) != 0) {
        return errno;
    }
    if (unlink(oldPath.c_str()) != 0) {
        const int error = errno;
        unlink(newPath.c_str());
        return error;
    }
    return 0;
}

int RenameNoReplace(const std::string& oldPath, const std::string& newPath) {
    if (renameat2(AT_FDCWD, oldPath.c_str(), AT_FDCWD, newPath.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    const bool refused = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
    return refused ? RenameByLink(oldPath, newPath) : errno;
}

BOOL DeleteFileW(const WCHAR* path) {
    if (FaultFails("DeleteFileW")) {
        return FALSE;
    }
    std::string bytes;
    Descriptor claim;
    if (!PathFromWide(path, &bytes) || !ClaimName(bytes, &claim)) {
        return FALSE;
    }
    if (unlink(bytes.c_str()) != 0) {
        return Fail(OpenErrorAt(errno, bytes));
    }
    SyncParentFolder(bytes);
    return TRUE;
}

BOOL MoveFileExW(const WCHAR* oldPath, const WCHAR* newPath, DWORD flags) {
    if (FaultFails("MoveFileExW")) {
        return FALSE;
    }
    const bool replaces = flags == (MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    if (flags != MOVEFILE_WRITE_THROUGH && !replaces) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    std::string oldBytes;
    std::string newBytes;
    Descriptor claim;
    Descriptor replaced;
    if (!PathFromWide(oldPath, &oldBytes) || !PathFromWide(newPath, &newBytes) ||
        !ClaimName(oldBytes, &claim) || (replaces && !ClaimReplaced(newBytes, &replaced))) {
        return FALSE;
    }
    const int error =
        replaces ? RenameReplacing(oldBytes, newBytes) : RenameNoReplace(oldBytes, newBytes);
    if (error != 0) {
        return Fail(NameError(error));
    }
    SyncParentFolder(newBytes);
    SyncParentFolder(oldBytes);
    return TRUE;
}

BOOL PathFileExistsW(const WCHAR* path) {
    if (FaultFails("PathFileExistsW")) {
        return FALSE;
    }
    std::string bytes;
    struct stat status;
    if (!PathFromWide(path, &bytes)) {
        return FALSE;
    }
    return lstat(bytes.c_str(), &status) == 0 ? TRUE : Fail(OpenErrorAt(errno, bytes));
}
