#include "platform/Host.h"

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>

#include <atomic>
#include <cstdio>

#include "platform/Text.h"
#include "platform/windows/OwnedHandle.h"
#include "platform/windows/StopEvent.h"

namespace {

// Opens what the path names, links followed, without asking for any right to its content. Folders
// need the backup flag.
OwnedHandle OpenForQuery(const WString& path) {
    const HANDLE handle =
        CreateFileW(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    return OwnedHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

std::optional<BY_HANDLE_FILE_INFORMATION> QueryFile(const WString& path) {
    const OwnedHandle file = OpenForQuery(path);
    BY_HANDLE_FILE_INFORMATION information;
    if (!file || !GetFileInformationByHandle(file.get(), &information)) {
        return std::nullopt;
    }
    return information;
}

// A root keeps its closing separator: without it "C:" is the current folder of the drive, and a
// volume's name is its device.
bool IsRoot(const WString& path) {
    if (path.size() == 3 && path.ends_with(L":\\")) {
        return true;  // also of a drive that is not there, which the system cannot tell of
    }
    WString volume(path.size() + MAX_PATH, L'\0');
    if (!GetVolumePathNameW(path.c_str(), volume.data(), static_cast<DWORD>(volume.size()))) {
        return false;
    }
    return path == volume.c_str();
}

WString FullPath(const WString& path) {
    WString full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    const auto capacity = static_cast<DWORD>(full.size());
    full.resize(GetFullPathNameW(path.c_str(), capacity, full.data(), nullptr));
    return full;
}

// The name under which the system knows the open file, without the prefix that lifts the length
// limit (a share keeps it).
WString FinalPath(HANDLE file) {
    WString path(GetFinalPathNameByHandleW(file, nullptr, 0, FILE_NAME_NORMALIZED), L'\0');
    const auto capacity = static_cast<DWORD>(path.size());
    path.resize(GetFinalPathNameByHandleW(file, path.data(), capacity, FILE_NAME_NORMALIZED));
    const bool hasDrive = path.size() > 5 && path.starts_with(L"\\\\?\\") && path[5] == L':';
    return hasDrive ? path.substr(4) : path;
}

HANDLE StreamHandle(int stream) {
    return GetStdHandle(stream == 1 ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

// The variable's value, empty when there is none.
WString Environment(const WCHAR* name) {
    WString value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    const auto capacity = static_cast<DWORD>(value.size());
    value.resize(GetEnvironmentVariableW(name, value.data(), capacity));
    return value;
}

std::atomic<int> g_stopExitCode{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Set with the first stop request; null while none is caught. Open to the end.
std::atomic<HANDLE> g_stopEvent{nullptr};

BOOL WINAPI RememberStop(DWORD event) {
    int none = 0;
    const int exitCode = event == CTRL_C_EVENT ? 130 : 143;
    if (!g_stopExitCode.compare_exchange_strong(none, exitCode)) {
        return FALSE;
    }
    SetEvent(g_stopEvent.load());
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process as soon as this returns, so the run gets the grace time.
        Sleep(INFINITE);
    }
    return TRUE;
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

WString HostWidePath(std::string_view argument) {
    WString path = FullPath(WideFromUtf8(argument));
    if (path.ends_with(L'\\') && !IsRoot(path)) {
        path.pop_back();
    }
    return path;
}

std::string HostDisplayText(const WString& text) {
    return Utf8FromWide(text);
}

bool HostIsFolder(const WString& path) {
    const auto information = QueryFile(path);
    return information && (information->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool HostIsRegularFile(const WString& path) {
    const OwnedHandle file = OpenForQuery(path);
    return file && GetFileType(file.get()) == FILE_TYPE_DISK && !HostIsFolder(path);
}

WString HostParentFolder(const WString& path) {
    const std::size_t separator = path.find_last_of(L'\\');
    if (separator == WString::npos || IsRoot(path)) {
        return path;
    }
    const WString withSeparator = path.substr(0, separator + 1);
    return IsRoot(withSeparator) ? withSeparator : path.substr(0, separator);
}

WString HostResolvedPath(const WString& given) {
    const WString path = FullPath(given);
    if (const OwnedHandle file = OpenForQuery(path)) {
        return FinalPath(file.get());
    }
    const WString parent = HostParentFolder(path);
    if (parent.size() >= path.size()) {
        return path;
    }
    // Names that differ in case alone will be one file, so the part to come is folded.
    WString rest = path.substr(parent.size() - (parent.ends_with(L'\\') ? 1 : 0));
    CharLowerBuffW(rest.data(), static_cast<DWORD>(rest.size()));
    WString resolved = HostResolvedPath(parent);
    if (resolved.ends_with(L'\\')) {
        resolved.pop_back();
    }
    return resolved + rest;
}

std::optional<std::uint64_t> HostFileSystemId(const WString& path) {
    if (const auto information = QueryFile(path)) {
        return information->dwVolumeSerialNumber;
    }
    const WString parent = HostParentFolder(path);
    return parent.size() < path.size() ? HostFileSystemId(parent) : std::nullopt;
}

bool HostSameFile(const WString& first, const WString& second) {
    // Both stay open while they are compared: a number is only taken as long as its file is there.
    const OwnedHandle firstFile = OpenForQuery(first);
    const auto one = QueryFile(first);
    const auto other = QueryFile(second);
    return firstFile && one && other && one->dwVolumeSerialNumber == other->dwVolumeSerialNumber &&
           one->nFileIndexHigh == other->nFileIndexHigh &&
           one->nFileIndexLow == other->nFileIndexLow;
}

WString HostMakeTemporaryFile() {
    WCHAR folder[MAX_PATH + 1] = {};
    WCHAR file[MAX_PATH + 1] = {};
    if (GetTempPathW(MAX_PATH + 1, folder) == 0 || GetTempFileNameW(folder, L"fnw", 0, file) == 0) {
        return {};
    }
    return file;
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

WString HostStateFolder() {
    const WString folder = Environment(L"LOCALAPPDATA");
    return folder.empty() ? WString() : folder + L"\\fenwickel";
}

int HostTerminalWidth() {
    CONSOLE_SCREEN_BUFFER_INFO screen;
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &screen)) {
        return 80;
    }
    return screen.srWindow.Right - screen.srWindow.Left + 1;
}

HANDLE StopEvent() {
    return g_stopEvent.load();
}

void HostCatchStopSignals() {
    if (StopEvent() == nullptr) {
        g_stopEvent.store(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    }
    SetConsoleCtrlHandler(RememberStop, TRUE);
}

int HostStopExitCode() {
    return g_stopExitCode.load(std::memory_order_relaxed);
}

std::string HostErrorText(std::uint32_t code) {
    // The width mask turns the line ends inside a text into spaces.
    WCHAR text[512];
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
        nullptr, code, 0, text, 512, nullptr);
    WString message(text, length);
    message.erase(message.find_last_not_of(L" .\r\n") + 1);
    return Utf8FromWide(message);
}

void HostPrepareOutput() {
    _setmode(_fileno(stdout), _O_BINARY);
    SetConsoleOutputCP(CP_UTF8);
}
