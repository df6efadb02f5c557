#include "platform/LogPlace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/FaultPoint.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"
#include "platform/posix/OthersMayWrite.h"

namespace {

constexpr int kMostLinks = 40;
constexpr const char* kProgramFolders[] = {"/usr", "/bin", "/sbin", "/lib", "/opt"};
constexpr std::string_view kRootsPlace = "/var/log/fenwickel/";
// Distributions let a group write in it that they trust with root's logs.
constexpr std::string_view kRootsLogs = "/var/log/";

bool IsTrusted(uid_t owner) {
    return owner == 0 || owner == geteuid();
}

bool IsTrustedFile(const struct stat& status, const std::string& path) {
    return !S_ISLNK(status.st_mode) && IsTrusted(status.st_uid) && !OthersMayWrite(status, path);
}

bool IsTrustedFolder(const struct stat& status, const std::string& path) {
    return IsTrusted(status.st_uid) &&
           ((status.st_mode & S_ISVTX) != 0 || !OthersMayWrite(status, path));
}

// A walk along a path, one name at a time. Every folder that it comes through is looked at, also
// those to which links lead.
struct PathWalk {
    std::string place;  // where it is: "" stands for the root folder
    std::string rest;   // what is left of the path
    int links = 0;

    bool TakeName(std::string* name) {
        const std::size_t start = rest.find_first_not_of('/');
        if (start == std::string::npos) {
            return false;
        }
        const std::size_t end = std::min(rest.find('/', start), rest.size());
        *name = rest.substr(start, end - start);
        rest.erase(0, end);
        return true;
    }
    bool AtEnd() const { return rest.find_first_not_of('/') == std::string::npos; }

    // False for a link that belongs to another account, and for too many.
    bool Follow(const std::string& link, const struct stat& status) {
        char target[PATH_MAX];
        const ssize_t length = readlink(link.c_str(), target, sizeof target);
        if (!IsTrusted(status.st_uid) || length <= 0 || ++links > kMostLinks) {
            return false;
        }
        const std::string_view to(target, static_cast<std::size_t>(length));
        place = to.starts_with('/') ? "" : place;
        rest.insert(0, to);
        return true;
    }
};

// One step of the walk. What is missing is made by this account, in folders that were looked at;
// behind a file there is nothing.
bool Step(PathWalk* walk, const std::string& name) {
    if (name == "." || name == "..") {
        walk->place.resize(name == "." ? walk->place.size()
                                       : std::min(walk->place.rfind('/'), walk->place.size()));
        return true;
    }
    const std::string path = walk->place + '/' + name;
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
        walk->rest.clear();
        return errno == ENOENT;
    }
    if (walk->AtEnd()) {
        return IsTrustedFile(status, path);
    }
    if (S_ISLNK(status.st_mode)) {
        return walk->Follow(path, status);
    }
    if (!S_ISDIR(status.st_mode)) {
        walk->rest.clear();
        return true;
    }
    walk->place = path;
    return path + '/' == kRootsLogs || IsTrustedFolder(status, path);
}

bool IsTrustedPath(std::string path) {
    if (!path.starts_with('/')) {
        char folder[PATH_MAX];
        if (getcwd(folder, sizeof folder) == nullptr) {
            return false;
        }
        path = folder + ('/' + path);
    }
    PathWalk walk;
    walk.rest = path;
    for (std::string name; walk.TakeName(&name);) {
        if (!Step(&walk, name)) {
            return false;
        }
    }
    return true;
}

bool IsBelow(const std::string& path, std::string_view folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

// Without the layer's lock of the environment: a child of fork may find that one taken.
std::string FolderFromEnvironment(const char* name, const char* below) {
    const char* const value = secure_getenv(name);
    return value != nullptr && value[0] == '/' ? value + std::string(below) : std::string();
}

// A service without a home may have several such folders; the first counts.
std::string ServiceFolder() {
    std::string folder = FolderFromEnvironment("LOGS_DIRECTORY", "");
    folder.resize(std::min(folder.find(':'), folder.size()));
    return folder.empty() ? folder : folder + '/';
}

}  // namespace

bool MayLogTo(const WCHAR* path) {
    std::string bytes;
    return !PathFromWide(path, &bytes) || IsTrustedPath(bytes);
}

bool IsFolderForLogs(const WString& folder) {
    std::string path;
    if (!PathFromWide(folder.c_str(), &path)) {
        return true;
    }
    struct stat status;
    std::string there = path;
    while (stat(there.empty() ? "/" : there.c_str(), &status) != 0 && !there.empty()) {
        there.resize(there.find_last_of('/') == std::string::npos ? 0 : there.find_last_of('/'));
    }
    for (const char* const programs : kProgramFolders) {
        if (IsBelow(path, programs) && status.st_uid == 0) {
            return false;
        }
    }
    return faccessat(AT_FDCWD, there.empty() ? "/" : there.c_str(), W_OK, AT_EACCESS) == 0;
}

WString OwnLogFolder() {
    if (geteuid() == 0) {
        return WideFromPath(kRootsPlace);
    }
    for (const std::string& folder :
         {FolderFromEnvironment("XDG_STATE_HOME", "/fenwickel/Logs/"),
          FolderFromEnvironment("HOME", "/.local/state/fenwickel/Logs/"), ServiceFolder()}) {
        if (!folder.empty()) {
            return WideFromPath(folder);
        }
    }
    return WString();
}

bool AdoptLogFile(HANDLE file, const WCHAR* path) {
    if (FaultFails("AdoptLogFile")) {
        return false;
    }
    std::string bytes;
    struct stat opened;
    struct stat named;
    const int descriptor = FileDescriptorOf(file);
    if (descriptor < 0 || !PathFromWide(path, &bytes)) {
        return false;
    }
    // In a sticky folder another account may put a link in the place of a missing file at any time.
    if (fstat(descriptor, &opened) != 0 || lstat(bytes.c_str(), &named) != 0 ||
        opened.st_dev != named.st_dev || opened.st_ino != named.st_ino ||
        (S_ISREG(opened.st_mode) && opened.st_nlink != 1) || !IsTrustedPath(bytes) ||
        !IsTrustedFile(opened, bytes)) {
        return Fail(ERROR_ACCESS_DENIED) != FALSE;
    }
    SetAppending(file, true);
    return true;
}

void SetAppending(HANDLE file, bool appending) {
    fcntl(FileDescriptorOf(file), F_SETFL, appending ? O_APPEND : 0);
}
