// Directory search: one directory read per buffer and one statx per file, nothing else.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "platform/posix/FileTime.h"
#include "platform/posix/Handle.h"
#include "platform/posix/Names.h"

namespace {

constexpr std::size_t kBufferBytes = 32768;
constexpr unsigned kStatMask = STATX_TYPE | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_BTIME;
constexpr int kFolderFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;

// Everything but the name. A folder has neither size nor times: no caller asks for them, and they
// would cost a statx each.
void FillFolder(WIN32_FIND_DATAW* data) {
    data->dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    data->ftCreationTime = data->ftLastAccessTime = data->ftLastWriteTime = FILETIME{0, 0};
    data->nFileSizeHigh = data->nFileSizeLow = 0;
}

void FillFile(const struct statx& status, WIN32_FIND_DATAW* data) {
    const bool link = S_ISLNK(status.stx_mode);
    data->dwFileAttributes = link ? FILE_ATTRIBUTE_REPARSE_POINT : FILE_ATTRIBUTE_NORMAL;
    FillTimes(status, data);
    data->nFileSizeHigh = static_cast<DWORD>(status.stx_size >> 32);
    data->nFileSizeLow = static_cast<DWORD>(status.stx_size);
}

class Search final : public Object {
public:
    explicit Search(Descriptor folder) : Object(ObjectKind::Search), m_folder(std::move(folder)) {}

    // The next entry; otherwise a code, ERROR_NO_MORE_FILES at the end.
    DWORD Next(WIN32_FIND_DATAW* data) {
        for (;;) {
            if (m_position == m_filled) {
                const DWORD code = ReadFolder(data);
                if (code != ERROR_SUCCESS || m_position == m_filled) {
                    return code;
                }
            }
            const auto* const entry = reinterpret_cast<const dirent64*>(m_buffer + m_position);
            m_position += entry->d_reclen;
            const DWORD code = Fill(*entry, data);
            if (code != ERROR_FILE_NOT_FOUND) {
                return code;
            }
        }
    }

private:
    DWORD ReadFolder(WIN32_FIND_DATAW* data) {
        const ssize_t count =
            Uninterrupted([&] { return getdents64(m_folder.get(), m_buffer, kBufferBytes); });
        if (count < 0) {
            return SearchError(errno);
        }
        if (count == 0) {
            return End(data);
        }
        m_any = true;
        m_position = 0;
        m_filled = static_cast<std::size_t>(count);
        return ERROR_SUCCESS;
    }

    // Some file systems list no "." and "..": an empty folder there must not look like a failure.
    DWORD End(WIN32_FIND_DATAW* data) {
        if (m_any) {
            return ERROR_NO_MORE_FILES;
        }
        m_any = true;
        FillFolder(data);
        WideFromName(".", 1, data->cFileName);
        return ERROR_SUCCESS;
    }

    // ERROR_FILE_NOT_FOUND when the entry is gone.
    DWORD Fill(const dirent64& entry, WIN32_FIND_DATAW* data) {
        const std::size_t length = std::strlen(entry.d_name);
        if (entry.d_type == DT_DIR) {
            FillFolder(data);
        } else {
            const DWORD code = FillStatus(entry.d_name, data);
            if (code != ERROR_SUCCESS) {
                return code;
            }
        }
        if (!FillName(entry.d_name, length, data)) {
            return ERROR_FILENAME_EXCED_RANGE;
        }
        data->dwReserved0 = data->dwReserved1 = 0;
        data->cAlternateFileName[0] = 0;
        return ERROR_SUCCESS;
    }

    // Some file systems count a name's units, not its bytes: it may have more bytes than fit here.
    static bool FillName(const char* name, std::size_t length, WIN32_FIND_DATAW* data) {
        if (length < MAX_PATH) {
            WideFromName(name, length, data->cFileName);
            return true;
        }
        const WString wide = WideFromPath({name, length});
        if (wide.size() >= MAX_PATH) {
            return false;
        }
        wide.copy(data->cFileName, wide.size());
        data->cFileName[wide.size()] = 0;
        return true;
    }

    DWORD FillStatus(const char* name, WIN32_FIND_DATAW* data) {
        struct statx status;
        if (Uninterrupted([&] {
                return statx(m_folder.get(), name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, kStatMask,
                             &status);
            }) != 0) {
            return errno == ENOENT ? ERROR_FILE_NOT_FOUND : CommonError(errno);
        }
        if (S_ISDIR(status.stx_mode)) {
            FillFolder(data);
        } else {
            FillFile(status, data);
        }
        return ERROR_SUCCESS;
    }

    Descriptor m_folder;
    std::size_t m_position = 0;
    std::size_t m_filled = 0;
    bool m_any = false;
    // Not initialised. Longer by one entry, since an entry's declared type is longer than most.
    alignas(dirent64) char m_buffer[kBufferBytes + sizeof(dirent64)];
};

Descriptor OpenFolderAt(int folder, const std::string& path, int flags) {
    return Descriptor(Uninterrupted([&] { return openat(folder, path.c_str(), flags); }));
}

// Opens a path that the system refuses as too long, by stretches that it takes.
Descriptor OpenLongFolder(const std::string& path) {
    constexpr std::size_t kStretch = PATH_MAX - 1;
    Descriptor folder(AT_FDCWD);
    std::size_t start = 0;
    while (path.size() - start > kStretch) {
        const std::size_t slash = path.find_last_of('/', start + kStretch);
        if (slash == std::string::npos || slash <= start) {
            errno = ENAMETOOLONG;
            return Descriptor();
        }
        const std::string stretch = path.substr(start, slash - start);
        folder = OpenFolderAt(folder.get(), stretch, O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (!folder) {
            return folder;
        }
        start = path.find_first_not_of('/', slash);
        start = start == std::string::npos ? path.size() : start;
    }
    const std::string rest = start == path.size() ? "." : path.substr(start);
    return OpenFolderAt(folder.get(), rest, kFolderFlags);
}

Descriptor OpenFolder(const std::string& path) {
    Descriptor folder = OpenFolderAt(AT_FDCWD, path, kFolderFlags);
    if (!folder && errno == ENAMETOOLONG && path.size() >= PATH_MAX) {
        return OpenLongFolder(path);
    }
    return folder;
}

// A file in the place of the folder itself, or in that of one above it.
DWORD OpenFolderError(int error, const std::string& path) {
    struct stat status;
    if (error == ENOTDIR && stat(path.c_str(), &status) != 0) {
        return ERROR_PATH_NOT_FOUND;
    }
    return SearchError(error);
}

// Takes the wildcard off the pattern; false when it does not end in "*.*" or "*".
bool FolderOfPattern(std::string* pattern) {
    for (const char* const wildcard : {"*.*", "*"}) {
        if (!pattern->ends_with(wildcard)) {
            continue;
        }
        pattern->resize(pattern->size() - std::strlen(wildcard));
        if (pattern->empty()) {
            pattern->push_back('.');
            return true;
        }
        if (pattern->back() == '/') {
            pattern->resize(std::max<std::size_t>(1, pattern->find_last_not_of('/') + 1));
            return true;
        }
        return false;
    }
    return false;
}

}  // namespace

HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* data) {
    std::string path;
    if (FaultFails("FindFirstFileW") || !PathFromWide(pattern, &path)) {
        return INVALID_HANDLE_VALUE;
    }
    if (!FolderOfPattern(&path)) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    Descriptor folder = OpenFolder(path);
    if (!folder) {
        SetLastError(OpenFolderError(errno, path));
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE handle = NewHandle<Search>(INVALID_HANDLE_VALUE, std::move(folder));
    if (handle == INVALID_HANDLE_VALUE) {
        return handle;
    }
    Search* const search = ObjectOf<Search>(handle, ObjectKind::Search);
    const DWORD code = search->Next(data);
    if (code != ERROR_SUCCESS) {
        delete search;
        SetLastError(code);
        return INVALID_HANDLE_VALUE;
    }
    return handle;
}

BOOL FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) {
    if (FaultFails("FindNextFileW")) {
        return FALSE;
    }
    Search* const object = ObjectOf<Search>(search, ObjectKind::Search);
    if (object == nullptr) {
        return FALSE;
    }
    const DWORD code = object->Next(data);
    return code == ERROR_SUCCESS ? TRUE : Fail(code);
}

BOOL FindClose(HANDLE search) {
    if (FaultFails("FindClose")) {
        return FALSE;
    }
    Search* const object = ObjectOf<Search>(search, ObjectKind::Search);
    if (object == nullptr) {
        return FALSE;
    }
    delete object;
    return TRUE;
}
