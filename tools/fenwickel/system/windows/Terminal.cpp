#include "system/Terminal.h"

#include <fcntl.h>
#include <io.h>

#include <cstdio>

#include "platform/Platform.h"
#include "platform/Text.h"
#include "system/windows/Environment.h"

// It needs the types of the main header.
#include <shellapi.h>

namespace {

HANDLE StreamHandle(int stream) {
    return GetStdHandle(stream == 1 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

std::vector<std::string> HostArguments(int, char**) {
    // main's own arguments went through the ANSI code page.
    int count = 0;
    LPWSTR* const words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> arguments;
    for (int index = 1; words != nullptr && index < count; ++index) {
        arguments.push_back(Utf8FromWide(words[index]));
    }
    LocalFree(words);
    return arguments;
}

bool HostIsTerminal(int stream) {
    DWORD mode = 0;
    return GetConsoleMode(StreamHandle(stream), &mode);
}

bool HostEnableColours(int stream) {
    DWORD mode = 0;
    return GetConsoleMode(StreamHandle(stream), &mode) && Environment(L"NO_COLOR").empty() &&
           SetConsoleMode(StreamHandle(stream), mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

int HostTerminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO screen;
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &screen)) {
        return 80;
    }
    return screen.srWindow.Right - screen.srWindow.Left + 1;
}

void HostPrepareOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}
