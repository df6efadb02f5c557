// timed_run RESULT LOG COMMAND...: runs the command and writes to RESULT a line with its seconds,
// then one with its peak resident memory in KiB, then every line that the command appended to the
// file LOG, each after the seconds from the start until it appeared. LOG may be UTF-16 if its text
// is ASCII.
//
// Exits with the command's code, 128 when a signal ended it.
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

int Require(int value, const char* what) {
    if (value < 0) {
        std::perror(what);
        std::exit(125);
    }
    return value;
}

int Start(char** command) {
    const int process = Require(fork(), "fork");
    if (process == 0) {
        execvp(command[0], command);
        Require(-1, command[0]);
    }
    return process;
}

// Appends what is new in the file, each line after the stamp.
void StampLines(int file, double seconds, std::string& pending, std::string& lines) {
    char buffer[4096];
    for (ssize_t size; (size = read(file, buffer, sizeof(buffer))) > 0;) {
        pending.append(buffer, static_cast<std::size_t>(size));
    }
    std::erase(pending, '\0');  // what is left of UTF-16 is ASCII
    for (std::size_t end; (end = pending.find('\n')) != std::string::npos;) {
        lines += std::to_string(seconds) + ' ' + pending.substr(0, end + 1);
        pending.erase(0, end + 1);
    }
}

// Stamps the lines until the process has ended. Sleeps while nothing is written.
std::string FollowUntilEnd(int process, int log, int notify, Clock::time_point start) {
    const int ending = Require(static_cast<int>(syscall(SYS_pidfd_open, process, 0)), "pidfd_open");
    pollfd waits[2] = {{notify, POLLIN, 0}, {ending, POLLIN, 0}};
    std::string pending;
    std::string lines;
    while ((waits[1].revents & POLLIN) == 0) {
        poll(waits, 2, -1);
        const double seconds = SecondsSince(start);
        char events[4096];
        while (read(notify, events, sizeof(events)) > 0) {
        }
        StampLines(log, seconds, pending, lines);
    }
    return lines;
}

int Run(const char* result, const char* logPath, char** command) {
    const int log = Require(open(logPath, O_RDONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), logPath);
    const int notify = Require(inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "inotify_init1");
    Require(inotify_add_watch(notify, logPath, IN_MODIFY), logPath);
    const auto start = Clock::now();
    const int process = Start(command);
    const std::string lines = FollowUntilEnd(process, log, notify, start);
    int status = 0;
    rusage usage{};
    Require(wait4(process, &status, 0, &usage), "wait4");
    const double seconds = SecondsSince(start);
    std::FILE* output = std::fopen(result, "w");
    Require(output == nullptr ? -1 : 0, result);
    std::fprintf(output, "%.6f\n%ld\n%s", seconds, usage.ru_maxrss, lines.c_str());
    Require(std::fclose(output), result);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: timed_run RESULT LOG COMMAND...\n");
        return 2;
    }
    return Run(argv[1], argv[2], argv + 3);
}
