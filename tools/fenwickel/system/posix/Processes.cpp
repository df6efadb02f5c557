#include "system/Processes.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>

#include "platform/posix/Module.h"
#include "platform/posix/Names.h"

namespace {

// The number that the text is, 0 for any other text.
std::uint32_t NumberOf(std::string_view text) {
    std::uint32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? number : 0;
}

std::string FolderOf(std::uint32_t id) {
    return "/proc/" + std::to_string(id) + "/";
}

// The text behind a field's name in /proc/ID/status, empty when it is not there.
std::string_view StatusField(std::string_view status, std::string_view name) {
    const std::string wanted = "\n" + std::string(name) + ":\t";
    const std::size_t start = status.find(wanted);
    if (start == std::string_view::npos) {
        return {};
    }
    status.remove_prefix(start + wanted.size());
    return status.substr(0, status.find('\n'));
}

std::string ReadText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The executable's path, or the process's own name where another account's executable is hidden.
// Empty for what has no executable: threads of the kernel, and processes that have ended.
std::string ProgramOf(std::uint32_t id) {
    char path[4096];
    const ssize_t length = readlink((FolderOf(id) + "exe").c_str(), path, sizeof path);
    if (length >= 0) {
        return {path, static_cast<std::size_t>(length)};
    }
    if (errno != EACCES && errno != EPERM) {
        return {};
    }
    const std::string name = ReadText(FolderOf(id) + "comm");
    return name.substr(0, name.find('\n'));
}

}  // namespace

std::string HostOwnProgram() {
    return ExecutablePath();
}

std::vector<HostProcess> HostProcesses() {
    std::vector<HostProcess> processes;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), &closedir);
    while (const dirent* const entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        const std::uint32_t id = NumberOf(entry->d_name);
        const std::string program = id != 0 ? WithoutDeletedMark(ProgramOf(id)) : std::string();
        if (!program.empty()) {
            const std::string name = program.substr(program.find_last_of('/') + 1);
            processes.push_back({id, WideFromPath(name)});
        }
    }
    return processes;
}

bool HostProcessRuns(std::uint32_t id) {
    const std::string status = ReadText(FolderOf(id) + "status");
    const std::string_view state = StatusField(status, "State");
    // Not a thread's number, and not a process that only waits for its parent to ask for its end.
    return id != 0 && NumberOf(StatusField(status, "Tgid")) == id && !state.starts_with('Z') &&
           !state.starts_with('X');
}
