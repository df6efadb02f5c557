#include "system/Paths.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "platform/Text.h"
#include "platform/posix/Environment.h"
#include "platform/posix/Names.h"

namespace {

// Empty when it is gone.
std::string WorkingFolder() {
    const std::unique_ptr<char, decltype(&std::free)> folder(getcwd(nullptr, 0), &std::free);
    return folder != nullptr ? folder.get() : "";
}

std::string ParentBytes(const std::string& path) {
    const std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
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

WString HostParentFolder(const WString& path) {
    return WideFromPath(ParentBytes(HostNativePath(path)));
}

WString HostResolvedPath(const WString& path) {
    std::string whole = HostNativePath(path);
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

std::string HostNativePath(const WString& path) {
    std::string bytes;
    return PathFromWide(path.c_str(), &bytes) ? bytes : std::string();
}

WString HostStateFolder() {
    const std::string state = TrustedEnvironment("XDG_STATE_HOME");
    if (state.starts_with('/')) {
        return HostWidePath(state + "/fenwickel");
    }
    const std::string home = TrustedEnvironment("HOME");
    return home.starts_with('/') ? HostWidePath(home + "/.local/state/fenwickel") : WString();
}
