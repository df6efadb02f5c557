// Paths between the command line, the library and the file system.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>

#include "platform/Host.h"
#include "platform/Text.h"
#include "platform/posix/Names.h"

namespace {

// Empty when it is gone.
std::string WorkingFolder() {
    const std::unique_ptr<char, decltype(&std::free)> folder(getcwd(nullptr, 0), &std::free);
    return folder != nullptr ? folder.get() : "";
}

// Bytes of a library path; empty when it has none.
std::string BytesOf(const WString& path) {
    std::string bytes;
    return PathFromWide(path.c_str(), &bytes) ? bytes : std::string();
}

std::string ParentBytes(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

bool GetStatus(const WString& path, struct stat* status) {
    return stat(BytesOf(path).c_str(), status) == 0;
}

std::string Joined(std::string folder, const std::string& rest) {
    if (!rest.empty() && folder.back() != '/' && rest.front() != '/') {
        folder += '/';
    }
    return folder + rest;
}

// Applies one component of a path by its text.
void Descend(std::string* path, std::string_view component) {
    if (component.empty() || component == ".") {
        return;
    }
    if (component == "..") {
        path->resize(path->empty() ? 0 : path->find_last_of('/'));
        return;
    }
    *path += '/';
    *path += component;
}

}  // namespace

WString HostWidePath(std::string_view argument) {
    const std::string folder = argument.starts_with('/') ? "/" : WorkingFolder();
    if (argument.empty() || folder.empty()) {
        return WString();
    }
    const std::string whole = Joined(folder, std::string(argument));
    std::string path;
    for (std::size_t start = 0; start < whole.size();) {
        const std::size_t end = std::min(whole.find('/', start), whole.size());
        Descend(&path, std::string_view(whole).substr(start, end - start));
        start = end + 1;
    }
    return WideFromPath(path.empty() ? "/" : path);
}

std::string HostDisplayText(const WString& text) {
    // Through UTF-16, where each byte that is no character has become U+FFFD.
    return Utf8FromWide(WideFromUtf8(DisplayBytes(text)));
}

bool HostIsFolder(const WString& path) {
    struct stat status;
    return GetStatus(path, &status) && S_ISDIR(status.st_mode);
}

bool HostIsRegularFile(const WString& path) {
    struct stat status;
    return GetStatus(path, &status) && S_ISREG(status.st_mode);
}

WString HostParentFolder(const WString& path) {
    return WideFromPath(ParentBytes(BytesOf(path)));
}

WString HostResolvedPath(const WString& path) {
    std::string whole = BytesOf(path);
    if (!whole.starts_with('/')) {
        whole.insert(0, WorkingFolder() + '/');
    }
    std::string existing = whole;
    for (;;) {
        const std::unique_ptr<char, decltype(&std::free)> resolved(
            realpath(existing.c_str(), nullptr), &std::free);
        const std::string parent = ParentBytes(existing);
        if (resolved != nullptr) {
            return WideFromPath(Joined(resolved.get(), whole.substr(existing.size())));
        }
        if (parent.size() >= existing.size()) {
            return path;
        }
        existing = parent;
    }
}

std::optional<std::uint64_t> HostFileSystemId(const WString& path) {
    std::string bytes = BytesOf(path);
    struct statx status;
    // The mount too: a second mount of one file system is as far away for a rename as another one.
    while (statx(AT_FDCWD, bytes.c_str(), 0, STATX_TYPE | STATX_MNT_ID, &status) != 0) {
        const std::string parent = ParentBytes(bytes);
        if (bytes.empty() || parent == bytes) {
            return std::nullopt;
        }
        bytes = parent;
    }
    const std::uint64_t device = (std::uint64_t{status.stx_dev_major} << 20) | status.stx_dev_minor;
    return (device << 32) ^ ((status.stx_mask & STATX_MNT_ID) != 0 ? status.stx_mnt_id : 0);
}

bool HostSameFile(const WString& first, const WString& second) {
    struct stat one;
    struct stat other;
    return GetStatus(first, &one) && GetStatus(second, &other) && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}
