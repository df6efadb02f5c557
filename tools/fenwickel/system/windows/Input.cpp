// Lines of standard input. A wait on a console wakes up with every key, and a pipe cannot be waited
// for, so a thread reads and hands over whole lines.
#include "system/Terminal.h"

#include <deque>
#include <mutex>
#include <thread>

#include "platform/Text.h"
#include "system/windows/StopEvent.h"

namespace {

// Shared by the reading thread, which lives until the process ends, and its one user.
struct Input {
    std::mutex lock;
    std::deque<std::string> lines;  // under lock
    bool ended = false;             // under lock
    HANDLE changed = CreateEventW(nullptr, FALSE, FALSE, nullptr);
};

// The next bytes as UTF-8; false at the end. Ctrl-C at a console gives no bytes and is no end.
bool ReadSome(HANDLE stream, std::string* bytes) {
    DWORD count = 0;
    DWORD mode = 0;
    if (GetConsoleMode(stream, &mode)) {
        WCHAR text[1024];
        const BOOL read = ReadConsoleW(stream, text, 1024, &count, nullptr);
        *bytes = Utf8FromWide({text, count});
        // Ctrl-Z at the start of a line closes a console.
        return read && !bytes->starts_with('\x1A');
    }
    char text[4096];
    const BOOL read = ReadFile(stream, text, sizeof text, &count, nullptr);
    bytes->assign(text, count);
    return read && count > 0;
}

void HandOver(Input* input, std::string* bytes, bool ended) {
    const std::lock_guard guard(input->lock);
    for (std::size_t end = bytes->find('\n'); end != std::string::npos; end = bytes->find('\n')) {
        const bool hasReturn = end > 0 && (*bytes)[end - 1] == '\r';
        input->lines.push_back(bytes->substr(0, hasReturn ? end - 1 : end));
        bytes->erase(0, end + 1);
    }
    if (ended && !bytes->empty()) {
        input->lines.push_back(std::move(*bytes));
    }
    input->ended = ended;
    SetEvent(input->changed);
}

void ReadToEnd(Input* input) {
    const HANDLE stream = GetStdHandle(STD_INPUT_HANDLE);
    std::string pending;
    std::string bytes;
    while (ReadSome(stream, &bytes)) {
        pending += bytes;
        HandOver(input, &pending, false);
    }
    HandOver(input, &pending, true);
}

// Never freed: the thread may be in the middle of a read when the process ends.
Input* StartInput() {
    auto* const input = new Input;
    std::thread(ReadToEnd, input).detach();
    return input;
}

bool TakeLine(Input* input, std::string* line, bool* ended) {
    const std::lock_guard guard(input->lock);
    *ended = input->ended && input->lines.empty();
    if (input->lines.empty()) {
        return false;
    }
    *line = std::move(input->lines.front());
    input->lines.pop_front();
    return true;
}

}  // namespace

HostInput HostReadLine(std::string* line, std::uint32_t milliseconds) {
    static Input* const input = StartInput();
    const ULONGLONG start = GetTickCount64();
    bool ended = false;
    while (!TakeLine(input, line, &ended)) {
        if (ended) {
            return HostInput::End;
        }
        const ULONGLONG passed = GetTickCount64() - start;
        const ULONGLONG left = passed < milliseconds ? milliseconds - passed : 0;
        const HANDLE waited[] = {input->changed, StopEvent()};
        const DWORD count = waited[1] != nullptr ? 2 : 1;
        if (WaitForMultipleObjects(count, waited, FALSE, static_cast<DWORD>(left)) !=
            WAIT_OBJECT_0) {
            return HostInput::Nothing;
        }
    }
    return HostInput::Line;
}
