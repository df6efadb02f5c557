#include "system/Terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

std::vector<std::string> HostArguments(int argc, char** argv) {
    return argc < 1 ? std::vector<std::string>() : std::vector<std::string>(argv + 1, argv + argc);
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

int HostTerminalWidth() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
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
