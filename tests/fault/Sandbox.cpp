#include "Sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

constexpr int kWatchdogMs = 20000;
constexpr const char* kFiles[] = {"base", "syncing", "deleted"};

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

Sandbox::Sandbox() {
    std::filesystem::create_directories(m_folder / "tree/sub");
    for (const char* name : {"same", "changed", "gone", "sub/same", "sub/gone"}) {
        WriteBytes(m_folder / "tree" / name, "1");
    }
    Run("detect");
    Run("commit");
    for (const char* name : {"changed", "new", "sub/new"}) {
        WriteBytes(m_folder / "tree" / name, "22");
    }
    std::filesystem::remove(m_folder / "tree/gone");
    std::filesystem::remove(m_folder / "tree/sub/gone");
}

Ended Sandbox::Run(const std::string& command, const std::string& fault, bool tracing) {
    const std::string root = m_folder.path().string() + "/";
    std::vector<std::string> arguments = {FENWICKEL_FAULTY_TOOL, command,         "--base",
                                          root + "base",         "--syncing",     root + "syncing",
                                          "--deleted",           root + "deleted"};
    if (command == "detect") {
        arguments.push_back(root + "tree");
    }
    // Failing closes leak by design, and a leak check would change the exit code.
    // The program logs into its user's state folder.
    const std::string home = root + "home";
    std::vector<std::string> environment = {"XDG_STATE_HOME=" + home, "TMPDIR=" + root,
                                            "ASAN_OPTIONS=detect_leaks=0"};
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
    ended.err = Bytes("err");
    return ended;
}

State Sandbox::Read() const {
    State state;
    for (const char* name : kFiles) {
        if (std::filesystem::exists(m_folder / name)) {
            state[name] = Bytes(name);
        }
    }
    return state;
}

void Sandbox::Write(const State& state) {
    for (const char* name : kFiles) {
        std::filesystem::remove(m_folder / name);
    }
    for (const auto& [name, bytes] : state) {
        WriteBytes(m_folder / name, bytes);
    }
}

std::string Plain(const std::string& listing) {
    std::vector<Row> rows = RowsOf(listing);
    if (listing != FileBytes(rows)) {
        return listing.empty() ? "" : "damaged";
    }
    for (Row& row : rows) {
        row.createTime = row.accessTime = 0;
    }
    return FileBytes(rows);
}

Answer AnswerOf(const State& state) {
    Answer answer;
    for (const char* list : {"syncing", "deleted"}) {
        const auto found = state.find(list);
        for (const Row& row : found == state.end() ? std::vector<Row>() : RowsOf(found->second)) {
            answer[row.path] += row.status;
        }
    }
    return answer;
}
