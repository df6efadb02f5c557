// Child processes.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "platform/Host.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Module.h"

namespace {

// What differs in the child: its standard input is empty.
class FileActions {
public:
    FileActions() {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_;
};

constexpr std::uint32_t kForever = 0xFFFFFFFF;

int ExitCodeOf(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// The exit code once the child has ended; looks again after ever longer naps until the time is
// over. A child that somebody else waited for counts as ended with 127.
std::optional<int> WaitFor(pid_t child, std::uint32_t milliseconds) {
    using Clock = std::chrono::steady_clock;
    const bool forever = milliseconds == kForever;
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

std::string HostOwnProgram() {
    return ExecutablePath();
}

HostChild HostChild::Start(const std::vector<std::string>& command) {
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
    const FileActions actions;
    pid_t id = 0;
    const int error = posix_spawnp(&id, words[0], actions.get(), nullptr, words.data(), environ);
    if (error != 0) {
        SetLastError(OpenErrorAt(error, command[0]));
        return child;
    }
    child.handle_ = id;
    child.id_ = static_cast<std::uint32_t>(id);
    return child;
}

HostChild::~HostChild() {
    if (handle_ != 0 && !exitCode_) {
        Kill();
        Wait(kForever);
    }
}

void HostChild::Kill() {
    // Once the end was seen, the number may belong to another process.
    if (handle_ != 0 && !exitCode_) {
        kill(static_cast<pid_t>(handle_), SIGKILL);
    }
}

std::optional<int> HostChild::Wait(std::uint32_t milliseconds) {
    if (handle_ != 0 && !exitCode_) {
        exitCode_ = WaitFor(static_cast<pid_t>(handle_), milliseconds);
    }
    return exitCode_;
}
