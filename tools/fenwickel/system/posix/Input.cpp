#include "system/Terminal.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include "system/posix/StopDescriptor.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Input {
    std::string bytes;  // read and not yet handed out
    bool ended = false;
};

// Takes the next line off the bytes, or the rest of them once the input has ended.
bool TakeLine(Input* input, std::string* line) {
    const std::size_t end = input->bytes.find('\n');
    if (end == std::string::npos && (!input->ended || input->bytes.empty())) {
        return false;
    }
    *line = input->bytes.substr(0, end);
    input->bytes.erase(0, end == std::string::npos ? end : end + 1);
    if (line->ends_with('\r')) {
        line->pop_back();
    }
    return true;
}

// The rest of the time for poll, which counts whole milliseconds.
int TimeLeft(Clock::time_point end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

void ReadMore(Input* input) {
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count > 0) {
        input->bytes.append(bytes, static_cast<std::size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        input->ended = true;
    }
}

}  // namespace

HostInput HostReadLine(std::string* line, std::uint32_t milliseconds) {
    static Input input;
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (!TakeLine(&input, line)) {
        if (input.ended) {
            return HostInput::End;
        }
        pollfd waited[] = {{STDIN_FILENO, POLLIN, 0}, {StopDescriptor(), POLLIN, 0}};
        const int ready = poll(waited, 2, TimeLeft(end));
        if (ready == 0 || waited[1].revents != 0) {
            return HostInput::Nothing;
        }
        if (ready > 0) {
            ReadMore(&input);
        } else if (errno != EINTR) {
            return HostInput::End;
        }
    }
    return HostInput::Line;
}
