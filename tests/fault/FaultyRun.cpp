#include "FaultyRun.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>

#include "TestSupport.h"

namespace {

constexpr int kWatchdogMs = 20000;

Ended WaitFor(pid_t child) {
    Ended ended;
    const auto process = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd end{process, POLLIN, 0};
    if (poll(&end, 1, kWatchdogMs) != 1) {
        ended.hung = true;
        kill(child, SIGKILL);
    }
    close(process);
    int status = 0;
    waitpid(child, &status, 0);
    ended.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ended.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    return ended;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

Ended RunFaulty(const std::filesystem::path& folder, std::vector<std::string> arguments,
                const std::string& fault, bool tracing) {
    const std::string root = folder.string() + "/";
    arguments.insert(arguments.begin(), FENWICKEL_FAULTY_TOOL);
    // Failing closes leak by design, and a leak check would change the exit code.
    // The program logs into its user's state folder.
    const std::string home = root + "home";
    std::vector<std::string> environment = {"XDG_STATE_HOME=" + home, "TMPDIR=" + root,
                                            "ASAN_OPTIONS=detect_leaks=0"};
    if (const char* const objects = std::getenv("FENWICKEL_OBJECTS"); objects != nullptr) {
        environment.push_back(std::string("FENWICKEL_OBJECTS=") + objects);
    }
    if (!fault.empty()) {
        environment.push_back("FENWICKEL_FAULT=" + fault);
    }
    if (tracing) {
        environment.push_back("FENWICKEL_FAULT_TRACE=" + root + "trace");
    }
    std::filesystem::remove(root + "trace");
    std::filesystem::remove_all(home);
    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&streams, 2, (root + "err").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0666);
    pid_t child = 0;
    const int error = posix_spawn(&child, FENWICKEL_FAULTY_TOOL, &streams, nullptr,
                                  Pointers(arguments).data(), Pointers(environment).data());
    posix_spawn_file_actions_destroy(&streams);
    Ended ended = error == 0 ? WaitFor(child) : Ended{};
    ended.err = ReadBytes(root + "err");
    return ended;
}

std::map<std::string, long long> TracedCalls(const std::filesystem::path& folder) {
    std::istringstream trace(ReadBytes(folder / "trace"));
    std::map<std::string, long long> calls;
    for (std::string function; std::getline(trace, function);) {
        ++calls[function];
    }
    return calls;
}

std::vector<long long> CallsToTry(long long calls) {
    constexpr long long kLast = 100;
    std::vector<long long> tried;
    for (long long n = 1; n <= calls;) {
        tried.push_back(n);
        if (calls <= kLast || n < 3) {
            ++n;
        } else {
            n += n < calls - kLast ? (calls - kLast + 8) / 9 : 8;
        }
    }
    return tried;
}
