#include "system/Child.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "platform/posix/Descriptor.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Names.h"
#include "system/posix/ChildUmask.h"

namespace {

// A file for what a child prints. Opened here, not in the child, where a failure would look like
// one of the program.
Descriptor OpenForOutput(const WString& path) {
    std::string bytes;
    if (!PathFromWide(path.c_str(), &bytes)) {
        return Descriptor();
    }
    Descriptor file(BesideStandardStreams(Uninterrupted(
        [&] { return open(bytes.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666); })));
    if (!file) {
        SetLastError(OpenErrorAt(errno, bytes));
    }
    return file;
}

// What differs in the child: its standard input is empty, and what the options say.
class FileActions {
public:
    FileActions() {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&m_actions); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    // False with the last error set.
    bool Apply(const HostChildOptions& options) {
        return (!options.outputToErrors || Give(STDERR_FILENO, STDOUT_FILENO)) &&
               Redirect(options.output, STDOUT_FILENO, &m_output) &&
               Redirect(options.errors, STDERR_FILENO, &m_errors) && Inherit(options.inherited);
    }

    const posix_spawn_file_actions_t* get() const { return &m_actions; }

private:
    bool Redirect(const WString& path, int stream, Descriptor* file) {
        if (path.empty()) {
            return true;
        }
        *file = OpenForOutput(path);
        return *file && Give(file->get(), stream);
    }

    // Duplicating a descriptor onto itself makes it one that outlives the exec.
    bool Inherit(HANDLE file) {
        if (file == nullptr) {
            return true;
        }
        const int number = FileDescriptorOf(file);
        return number >= 0 && Give(number, number);
    }

    bool Give(int number, int asNumber) {
        const int error = posix_spawn_file_actions_adddup2(&m_actions, number, asNumber);
        return error == 0 || Fail(CommonError(error)) != FALSE;
    }

    posix_spawn_file_actions_t m_actions;
    Descriptor m_output;
    Descriptor m_errors;
};

// Signals that this process ignores for its own output are as usual in the child.
class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t usual;
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        sigaddset(&usual, SIGXFSZ);
        posix_spawnattr_init(&m_attributes);
        posix_spawnattr_setsigdefault(&m_attributes, &usual);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    const posix_spawnattr_t* get() const { return &m_attributes; }

private:
    posix_spawnattr_t m_attributes;
};

// The umask of this process while it starts a child, which takes it over.
class ChildUmask {
public:
    explicit ChildUmask(bool privateFiles) {
        const std::optional<mode_t> usual = UmaskForChildren();
        if (privateFiles || usual) {
            m_before = umask(privateFiles ? S_IRWXG | S_IRWXO : *usual);
        }
    }
    ~ChildUmask() {
        if (m_before) {
            umask(*m_before);
        }
    }
    ChildUmask(const ChildUmask&) = delete;
    ChildUmask& operator=(const ChildUmask&) = delete;

private:
    std::optional<mode_t> m_before;
};

bool IsProgram(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

// The path of a program; "", which is the path of none, when no folder has it.
std::string ProgramPath(const std::string& name) {
    if (name.find('/') != std::string::npos) {
        return name;
    }
    const char* const list = std::getenv("PATH");
    std::string_view folders = list != nullptr ? list : "/bin:/usr/bin";
    while (!folders.empty()) {
        const std::string_view folder = folders.substr(0, folders.find(':'));
        folders.remove_prefix(std::min(folders.size(), folder.size() + 1));
        std::string path = std::string(folder) + '/' + name;
        if (folder.starts_with('/') && IsProgram(path)) {
            return path;
        }
    }
    return "";
}

DWORD StartError(int error) {
    return error == ENOENT || error == ENOTDIR ? ERROR_FILE_NOT_FOUND : CommonError(error);
}

int ExitCodeOf(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// The exit code once the child has ended; looks again after ever longer naps until the time is
// over. A child that other code has waited for counts as ended with 127.
std::optional<int> WaitFor(pid_t child, std::uint32_t milliseconds) {
    using Clock = std::chrono::steady_clock;
    const bool forever = milliseconds == kHostForever;
    const auto end = Clock::now() + std::chrono::milliseconds(forever ? 0 : milliseconds);
    std::chrono::milliseconds nap(1);
    for (;;) {
        int status = 0;
        const pid_t ended =
            Uninterrupted([&] { return waitpid(child, &status, forever ? 0 : WNOHANG); });
        if (ended != 0) {
            return ended < 0 ? 127 : ExitCodeOf(status);
        }
        const auto left = end - Clock::now();
        if (left <= Clock::duration::zero()) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(std::min<Clock::duration>(nap, left));
        nap = std::min(nap * 2, std::chrono::milliseconds(16));
    }
}

}  // namespace

HostChild HostChild::Start(const std::vector<std::string>& command,
                           const HostChildOptions& options) {
    HostChild child;
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    if (command.empty()) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return child;
    }
    FileActions actions;
    if (!actions.Apply(options)) {
        return child;
    }
    const SpawnAttributes attributes;
    const std::string program = ProgramPath(command[0]);
    const ChildUmask childUmask(options.privateFiles);
    pid_t id = 0;
    const int error =
        posix_spawn(&id, program.c_str(), actions.get(), attributes.get(), words.data(), environ);
    if (error != 0) {
        SetLastError(StartError(error));
        return child;
    }
    child.m_handle = id;
    child.m_id = static_cast<std::uint32_t>(id);
    return child;
}

HostChild::~HostChild() {
    if (m_handle != 0 && !m_exitCode) {
        Kill();
        Wait(kHostForever);
    }
}

// Once the end was seen, the number may belong to another process.
void HostChild::AskToEnd() {
    if (m_handle != 0 && !m_exitCode) {
        kill(static_cast<pid_t>(m_handle), SIGTERM);
    }
}

void HostChild::Kill() {
    if (m_handle != 0 && !m_exitCode) {
        kill(static_cast<pid_t>(m_handle), SIGKILL);
    }
}

std::optional<int> HostChild::Wait(std::uint32_t milliseconds) {
    if (m_handle != 0 && !m_exitCode) {
        m_exitCode = WaitFor(static_cast<pid_t>(m_handle), milliseconds);
    }
    return m_exitCode;
}
