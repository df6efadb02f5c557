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

class Search;
constinit thread_local Search* innermostSearch = nullptr;  // of those that the thread has open

class Search final : public Object {
public:
    // prefix is the pattern without its wildcard.
    Search(Descriptor folder, std::string prefix)
        : Object(ObjectKind::Search),
          m_folder(std::move(folder)),
          m_prefix(std::move(prefix)),
          m_outer(std::exchange(innermostSearch, this)) {}

    ~Search() override {
        Search** link = &innermostSearch;
        while (*link != this) {
            link = &(*link)->m_outer;
        }
        *link = m_outer;
    }

    // The thread's open search of the folder in which the prefix names an entry; null without one.
    // The name of the entry is what follows that search's own prefix.
    static const Search* OfParent(const std::string& prefix) {
        const std::size_t end = prefix.find_last_not_of('/');
        const std::size_t slash = end == std::string::npos ? end : prefix.rfind('/', end);
        const std::size_t length = slash == std::string::npos ? 0 : slash + 1;
        const Search* search = end == std::string::npos ? nullptr : innermostSearch;
        while (search != nullptr && prefix.compare(0, length, search->m_prefix) != 0) {
            search = search->m_outer;
        }
        return search;
    }

    int folder() const { return m_folder.get(); }
    const std::string& prefix() const { return m_prefix; }

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
    std::string m_prefix;
    Search* m_outer;  // what the thread opened before and has not closed
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

// By its whole path, of which every component may be a link.
Descriptor OpenFolderByPath(const std::string& prefix, DWORD* code) {
    const std::string path =
        prefix.empty()
            ? "."
            : prefix.substr(0, std::max<std::size_t>(1, prefix.find_last_not_of('/') + 1));
    Descriptor folder = OpenFolderAt(AT_FDCWD, path, kFolderFlags);
    if (!folder && errno == ENAMETOOLONG && path.size() >= PATH_MAX) {
        folder = OpenLongFolder(path);
    }
    if (!folder) {
        const int error = errno;
        struct stat status;
        // A file in the place of the folder itself, or in that of one above it.
        *code = error == ENOTDIR && stat(path.c_str(), &status) != 0 ? ERROR_PATH_NOT_FOUND
                                                                     : SearchError(error);
    }
    return folder;
}

// In the folder that the thread is searching, wherever that is by now; a link there is not
// followed.
Descriptor OpenFolderIn(const Search& parent, const std::string& prefix, DWORD* code) {
    std::string name = prefix.substr(parent.prefix().size());
    name.resize(name.find_last_not_of('/') + 1);
    Descriptor folder = OpenFolderAt(parent.folder(), name, kFolderFlags | O_NOFOLLOW);
    if (!folder) {
        *code = SearchError(errno == ELOOP ? ENOTDIR : errno);
    }
    return folder;
}

Descriptor OpenFolder(const std::string& prefix, DWORD* code) {
    const Search* const parent = Search::OfParent(prefix);
    return parent != nullptr ? OpenFolderIn(*parent, prefix, code) : OpenFolderByPath(prefix, code);
}

// Takes the wildcard off the pattern; false when it does not end in a component "*.*" or "*".
bool TakeWildcard(std::string* pattern) {
    for (const char* const wildcard : {"*.*", "*"}) {
        if (pattern->ends_with(wildcard)) {
            pattern->resize(pattern->size() - std::strlen(wildcard));
            return pattern->empty() || pattern->back() == '/';
        }
    }
    return false;
}

}  // namespace

HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* data) {
    std::string prefix;
    if (FaultFails("FindFirstFileW") || !PathFromWide(pattern, &prefix)) {
        return INVALID_HANDLE_VALUE;
    }
    if (!TakeWildcard(&prefix)) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return INVALID_HANDLE_VALUE;
    }
    DWORD openCode = ERROR_SUCCESS;
    Descriptor folder = OpenFolder(prefix, &openCode);
    if (!folder) {
        SetLastError(openCode);
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE handle =
        NewHandle<Search>(INVALID_HANDLE_VALUE, std::move(folder), std::move(prefix));
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
