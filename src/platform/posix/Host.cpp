// The command-line tool's process: arguments, terminal, signals.
#include "platform/Host.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include "platform/posix/Handle.h"
#include "platform/posix/Names.h"
#include "platform/posix/StopDescriptor.h"

namespace {

static_assert(std::atomic<int>::is_always_lock_free, "a signal handler writes it");
constinit std::atomic<int> stopSignal{0};
// Becomes readable with the first stop signal; -1 while none is caught. Open to the end.
constinit std::atomic<int> stopDescriptor{-1};

extern "C" void RememberStop(int signalNumber) {
    int none = 0;
    const int savedError = errno;
    eventfd_write(stopDescriptor.load(), 1);
    errno = savedError;
    if (!stopSignal.compare_exchange_strong(none, signalNumber)) {
        // The second request: as if nobody had caught it. It is delivered when this returns.
        std::signal(signalNumber, SIG_DFL);
        std::raise(signalNumber);
    }
}

}  // namespace

std::vector<std::string> HostArguments(int argc, char** argv) {
    return argc < 1 ? std::vector<std::string>() : std::vector<std::string>(argv + 1, argv + argc);
}

WString HostMakeTemporaryFile() {
    const char* const folder = std::getenv("TMPDIR");
    std::string path = folder != nullptr && folder[0] == '/' ? folder : "/tmp";
    path += "/fenwickel-XXXXXX";
    const int file = mkostemp(path.data(), O_CLOEXEC);
    if (file < 0) {
        return WString();
    }
    // Under the name of the descriptor, which stays open, the file ends with the process.
    const std::string nameless = "/proc/self/fd/" + std::to_string(file);
    if (access(nameless.c_str(), W_OK) == 0 && unlink(path.c_str()) == 0) {
        return HostWidePath(nameless);
    }
    close(file);
    return HostWidePath(path);
}

bool HostIsTerminal(int stream) {
    return isatty(stream) != 0;
}

bool HostEnableColours(int stream) {
    const char* const refused = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    return HostIsTerminal(stream) && (refused == nullptr || *refused == '\0') &&
           terminal != nullptr && std::string_view(terminal) != "dumb";
}

WString HostStateFolder() {
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && state[0] == '/') {
        return HostWidePath(std::string(state) + "/fenwickel");
    }
    const char* const home = std::getenv("HOME");
    return home != nullptr && home[0] == '/'
               ? HostWidePath(std::string(home) + "/.local/state/fenwickel")
               : WString();
}

int HostTerminalWidth() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

int StopDescriptor() {
    return stopDescriptor.load();
}

void HostCatchStopSignals() {
    if (stopDescriptor.load() < 0) {
        stopDescriptor.store(BesideStandardStreams(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)));
    }
    struct sigaction action {};
    action.sa_handler = RememberStop;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signalNumber : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        if (sigaction(signalNumber, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            sigaction(signalNumber, &action, nullptr);
        }
    }
}

int HostStopExitCode() {
    const int signalNumber = stopSignal.load();
    return signalNumber == 0 ? 0 : 128 + signalNumber;
}

// A closed pipe or a file at its size limit then shows as a failed write, which the tool reports. A
// standard stream that was closed before the start gets a file that takes no such transfer: the
// next file to be opened would take its number and what is printed would land in it.
void HostPrepareOutput() {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) < 0) {
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}
