// Open files: CreateFileW, transfers, size and position.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>

#include "platform/posix/FileLock.h"
#include "platform/posix/Handle.h"
#include "platform/posix/Names.h"
#include "platform/posix/Security.h"

namespace {

class File final : public Object {
public:
    explicit File(Descriptor descriptor)
        : Object(ObjectKind::File), m_descriptor(std::move(descriptor)) {}
    int get() const { return m_descriptor.get(); }

private:
    Descriptor m_descriptor;
};

// What the caller's access, sharing and disposition mean here.
struct OpenPlan {
    int flags = 0;
    int lockOperation = 0;
    bool regularOnly = true;
};

bool PlanAccess(DWORD access, OpenPlan* plan) {
    switch (access) {
        case GENERIC_READ | GENERIC_WRITE:
            plan->flags = O_RDWR;
            return true;
        case GENERIC_READ:
            plan->flags = O_RDONLY;
            return true;
        case FILE_APPEND_DATA:
            plan->flags = O_WRONLY | O_APPEND;
            plan->regularOnly = false;
            return true;
        default:
            return false;
    }
}

bool PlanSharing(DWORD access, DWORD share, OpenPlan* plan) {
    // A file that is open without a lock can be deleted here in any case.
    if ((share & ~FILE_SHARE_DELETE) == (FILE_SHARE_READ | FILE_SHARE_WRITE)) {
        return true;
    }
    plan->lockOperation = access == GENERIC_READ ? LOCK_SH : LOCK_EX;
    return share == FILE_SHARE_READ;
}

bool PlanDisposition(DWORD disposition, OpenPlan* plan) {
    switch (disposition) {
        case CREATE_NEW:
            plan->flags |= O_CREAT | O_EXCL;
            return true;
        case OPEN_ALWAYS:
            plan->flags |= O_CREAT;
            return true;
        default:
            return disposition == OPEN_EXISTING;
    }
}

// Opens as planned; a file that this call makes is open to its owner alone, whatever the umask.
Descriptor OpenForOwner(const std::string& path, const OpenPlan& plan) {
    constexpr mode_t kOwner = 0600;
    Descriptor made =
        OpenLocked(path, plan.flags | O_EXCL, plan.lockOperation, plan.regularOnly, kOwner);
    if (made) {
        // Not a failure: some file systems have no modes.
        static_cast<void>(fchmod(made.get(), kOwner));
        return made;
    }
    if (GetLastError() != ERROR_FILE_EXISTS || (plan.flags & O_EXCL) != 0) {
        return made;
    }
    // Some systems refuse to open another account's file in a shared folder with O_CREAT.
    Descriptor found =
        OpenLocked(path, plan.flags & ~O_CREAT, plan.lockOperation, plan.regularOnly);
    return !found && GetLastError() == ERROR_FILE_NOT_FOUND
               ? OpenLocked(path, plan.flags, plan.lockOperation, plan.regularOnly, kOwner)
               : std::move(found);
}

// Reads or writes until everything is moved, the file ends or an error comes; true without error.
template <typename Step>
bool TransferAll(DWORD byteCount, DWORD* moved, Step step) {
    *moved = 0;
    while (*moved < byteCount) {
        const ssize_t count = step(*moved, byteCount - *moved);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            *moved += static_cast<DWORD>(count);
        } else if (errno != EINTR) {
            return Fail(TransferError(errno)) != FALSE;
        }
    }
    return true;
}

BOOL DoneOrTransferError(int result) {
    return result == 0 ? TRUE : Fail(TransferError(errno));
}

}  // namespace

int FileDescriptorOf(HANDLE file) {
    const auto* const object = ObjectOf<File>(file, ObjectKind::File);
    return object != nullptr ? object->get() : -1;
}

HANDLE CreateFileW(const WCHAR* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD attributes, HANDLE templateFile) {
    if (FaultFails("CreateFileW")) {
        return INVALID_HANDLE_VALUE;
    }
    constexpr DWORD kWithoutEffect = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN;
    OpenPlan plan;
    if (!PlanAccess(access, &plan) || !PlanSharing(access, share, &plan) ||
        !PlanDisposition(disposition, &plan) || templateFile != nullptr ||
        (attributes & ~kWithoutEffect) != 0) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    std::string bytes;
    if (!IsSecuritySupported(security) || !PathFromWide(path, &bytes)) {
        return INVALID_HANDLE_VALUE;
    }
    Descriptor descriptor =
        security != nullptr && (plan.flags & O_CREAT) != 0
            ? OpenForOwner(bytes, plan)
            : OpenLocked(bytes, plan.flags, plan.lockOperation, plan.regularOnly);
    if (!descriptor) {
        return INVALID_HANDLE_VALUE;
    }
    SetLastError(ERROR_SUCCESS);
    return NewHandle<File>(INVALID_HANDLE_VALUE, std::move(descriptor));
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) {
    if (FaultFails("GetFileSizeEx")) {
        return FALSE;
    }
    File* const object = ObjectOf<File>(file, ObjectKind::File);
    struct stat status;
    if (object == nullptr) {
        return FALSE;
    }
    if (fstat(object->get(), &status) != 0) {
        return Fail(TransferError(errno));
    }
    size->QuadPart = status.st_size;
    return TRUE;
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD byteCount, DWORD* bytesRead,
              OVERLAPPED* overlapped) {
    if (FaultFails("ReadFile")) {
        return FALSE;
    }
    File* const object = ObjectOf<File>(file, ObjectKind::File);
    if (object == nullptr) {
        return FALSE;
    }
    if (bytesRead == nullptr || overlapped != nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return TransferAll(FaultLimit("ReadFile", byteCount), bytesRead, [&](DWORD done, DWORD left) {
        return read(object->get(), static_cast<char*>(buffer) + done, left);
    });
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD byteCount, DWORD* bytesWritten,
               OVERLAPPED* overlapped) {
    if (FaultFails("WriteFile")) {
        return FALSE;
    }
    File* const object = ObjectOf<File>(file, ObjectKind::File);
    if (object == nullptr) {
        return FALSE;
    }
    if (bytesWritten == nullptr || overlapped != nullptr) {
        return Fail(ERROR_INVALID_PARAMETER);
    }
    return TransferAll(FaultLimit("WriteFile", byteCount), bytesWritten,
                       [&](DWORD done, DWORD left) {
                           const char* const from = static_cast<const char*>(buffer) + done;
                           return write(object->get(), from, left);
                       });
}

BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* position, DWORD method) {
    if (FaultFails("SetFilePointerEx")) {
        return FALSE;
    }
    File* const object = ObjectOf<File>(file, ObjectKind::File);
    if (object == nullptr) {
        return FALSE;
    }
    if (method != FILE_BEGIN && method != FILE_END) {
        return Fail(ERROR_NOT_SUPPORTED);
    }
    const off_t reached =
        lseek(object->get(), distance.QuadPart, method == FILE_BEGIN ? SEEK_SET : SEEK_END);
    if (reached < 0) {
        return Fail(errno == EINVAL ? ERROR_NEGATIVE_SEEK : TransferError(errno));
    }
    if (position != nullptr) {
        position->QuadPart = reached;
    }
    return TRUE;
}

BOOL SetEndOfFile(HANDLE file) {
    if (FaultFails("SetEndOfFile")) {
        return FALSE;
    }
    File* const object = ObjectOf<File>(file, ObjectKind::File);
    if (object == nullptr) {
        return FALSE;
    }
    if ((fcntl(object->get(), F_GETFL) & O_ACCMODE) == O_RDONLY) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    const off_t position = lseek(object->get(), 0, SEEK_CUR);
    if (position < 0) {
        return Fail(TransferError(errno));
    }
    return DoneOrTransferError(Uninterrupted([&] { return ftruncate(object->get(), position); }));
}

BOOL FlushFileBuffers(HANDLE file) {
    if (FaultFails("FlushFileBuffers")) {
        return FALSE;
    }
    File* const object = ObjectOf<File>(file, ObjectKind::File);
    if (object == nullptr) {
        return FALSE;
    }
    if ((fcntl(object->get(), F_GETFL) & O_ACCMODE) == O_RDONLY) {
        return Fail(ERROR_ACCESS_DENIED);
    }
    const int result = Uninterrupted([&] { return fsync(object->get()); });
    // A pipe or a terminal has nothing to flush.
    return result != 0 && errno == EINVAL ? TRUE : DoneOrTransferError(result);
}
