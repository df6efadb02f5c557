#include "StateFiles.h"

#include <charconv>

#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/ShellText.h"
#include "system/Entries.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

void RequireParentFolder(const StateRole& role) {
    const WString folder = HostParentFolder(role.path);
    if (!HostIsFolder(folder)) {
        throw NotAFolder(std::string("use the folder for ") + role.name, folder, "create it");
    }
}

// The process id in the lock file, "" when there is none.
std::string HolderId(const WString& lock) {
    const OwnedHandle file(CreateFileW(lock.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, nullptr));
    std::string text(16, '\0');
    DWORD bytes = 0;
    if (!file ||
        !ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &bytes, nullptr)) {
        bytes = 0;
    }
    text.resize(bytes);
    text.resize(std::min(text.size(), text.find_first_not_of("0123456789")));
    return text;
}

bool IsRunning(const std::string& id) {
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(id.data(), id.data() + id.size(), number);
    return error == std::errc() && HostProcessRuns(number);
}

// The lock belongs to the open file, which the holder passes on to the programs that it starts:
// when the holder is killed, its uploader keeps the lock until it ends, and no second run sends
// beside it.
std::string HolderText(const std::string& id) {
    if (id.empty()) {
        return "another process";
    }
    return IsRunning(id) ? "process " + id : "a program that process " + id + " had started";
}

// Whether by one name or by several names or links.
void RequireDistinct(const StateRole& first, const StateRole& second) {
    if (HostResolvedPath(first.path) == HostResolvedPath(second.path) ||
        HostSameFile(first.path, second.path)) {
        throw Failure(ExitCode::Usage, std::string(first.name) + " and " + second.name +
                                           " are both " + Quoted(second.path) +
                                           ": give each its own file");
    }
}

}  // namespace

WString PathArgument(const std::string& name, const std::string& argument) {
    if (argument.empty()) {
        throw Failure(ExitCode::Usage, name + " is empty: name a file");
    }
    WString path = HostWidePath(argument);
    if (path.empty()) {
        throw Failure(ExitCode::Usage, "the working folder is gone: use absolute paths");
    }
    return path;
}

Failure NotAFolder(const std::string& action, const WString& path, const char* remedy) {
    const std::string start = "cannot " + action + " " + Quoted(path);
    if (PathFileExistsW(path.c_str())) {
        return {ExitCode::Failed, start + ": it is not a folder: name a folder"};
    }
    switch (const DWORD code = GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            return {ExitCode::Failed, start + ": it does not exist: " + remedy};
        case ERROR_ACCESS_DENIED:
            return SystemFailure(ExitCode::Failed, action, path, code,
                                 "make the folders above it accessible");
        case ERROR_FILENAME_EXCED_RANGE:
            return SystemFailure(ExitCode::Failed, action, path, code, "shorten it");
        default:
            return SystemFailure(ExitCode::Failed, action, path, code, "check the path");
    }
}

std::string StateOptionsText(const StateArguments& arguments) {
    return "--base " + ShellQuoted(arguments.base) + " --syncing " +
           ShellQuoted(arguments.syncing) + " --deleted " + ShellQuoted(arguments.deleted);
}

StateFiles ResolveState(const StateArguments& arguments) {
    StateFiles state{PathArgument("--base", arguments.base),
                     PathArgument("--syncing", arguments.syncing),
                     PathArgument("--deleted", arguments.deleted),
                     {}};
    state.lock = state.base + WIDE(".lock");
    RequireOwnFiles(state);
    for (const StateRole& role : Roles(state)) {
        RequireParentFolder(role);
    }
    return state;
}

void RequireOwnFiles(const StateFiles& state) {
    const std::vector<StateRole> roles = Roles(state);
    for (std::size_t i = 0; i < roles.size(); ++i) {
        for (std::size_t j = i + 1; j < roles.size(); ++j) {
            RequireDistinct(roles[i], roles[j]);
        }
        if (HostIsFolder(roles[i].path)) {
            throw Failure(ExitCode::Usage,
                          std::string(roles[i].name) + " " + Quoted(roles[i].path) +
                              " is a folder: " +
                              (state.inOneFolder ? "name another state folder" : "name a file"));
        }
    }
}

void RequireOneFileSystem(const StateFiles& state) {
    const auto base = HostFileSystemId(HostParentFolder(state.base));
    const auto syncing = HostFileSystemId(state.syncing);
    if (base && syncing && *base != *syncing) {
        throw Failure(ExitCode::Usage, "--base " + Quoted(state.base) + " and --syncing " +
                                           Quoted(state.syncing) +
                                           " lie on two file systems: keep them on one");
    }
}

std::vector<StateRole> Roles(const StateFiles& state) {
    if (state.inOneFolder) {
        return {{"the base", state.base},
                {"the new listing", state.syncing},
                {"the list of deleted files", state.deleted},
                {"the lock file", state.lock}};
    }
    return {{"--base", state.base},
            {"--syncing", state.syncing},
            {"--deleted", state.deleted},
            {"the lock file of --base", state.lock}};
}

bool IsGone(const WString& path) {
    if (PathFileExistsW(path.c_str())) {
        return false;
    }
    const DWORD code = GetLastError();
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

std::optional<std::string> StateHolder(const StateFiles& state) {
    const std::string id = HolderId(state.lock);
    if (id.empty()) {
        return {};
    }
    const OwnedHandle file(CreateFileW(state.lock.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file ? std::nullopt : std::optional(HolderText(id));
}

stSyncFileDbContext DatabaseContext(const StateFiles& state) {
    return {state.base, state.syncing, state.deleted, nullptr};
}

StateLock::StateLock(const StateFiles& state)
    : m_file(CreateFileW(state.lock.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    if (m_file) {
        WritePid();
        return;
    }
    const DWORD code = GetLastError();
    if (code == ERROR_SHARING_VIOLATION) {
        throw Failure(ExitCode::Held, static_cast<int>(code),
                      HolderText(HolderId(state.lock)) + " holds " + Quoted(state.lock) +
                          ": wait until it has ended");
    }
    throw SystemFailure(ExitCode::Failed, "create the lock file", state.lock, code,
                        IsGone(state.lock)
                            ? "make its folder writable"
                            : "make it writable, or delete it when no run is active");
}

// Only tells others who holds the lock: the lock itself is held already, whatever comes of this.
void StateLock::WritePid() {
    const std::string text = std::to_string(GetCurrentProcessId()) + "\n";
    DWORD written = 0;
    if (WriteFile(m_file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        SetEndOfFile(m_file.get());
    }
}

StateLock::~StateLock() {
    LARGE_INTEGER start;
    start.QuadPart = 0;
    if (SetFilePointerEx(m_file.get(), start, nullptr, FILE_BEGIN)) {
        SetEndOfFile(m_file.get());
    }
}
