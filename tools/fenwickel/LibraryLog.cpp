#include "LibraryLog.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "ExitCodes.h"
#include "Failure.h"
#include "platform/Host.h"
#include "platform/Platform.h"
#include "platform/Text.h"

namespace {

constexpr const WCHAR* kVariable = WIDE("FENWICKEL_LOG");
constexpr DWORD kLongestPath = 32768;
constexpr std::uint64_t kTailBytes = 64 * 1024;  // far more than the lines of one failure
constexpr const char* kMessageStart = "[SYNC]:[";

WString NamedByUser() {
    WString path(kLongestPath, 0);
    const DWORD length = GetEnvironmentVariableW(kVariable, path.data(), kLongestPath);
    path.resize(length < kLongestPath ? length : 0);
    return path;
}

// The bytes of the file from start on, at most the last kTailBytes of them.
std::string Tail(const WString& path, std::uint64_t start) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        return {};
    }
    LARGE_INTEGER size;
    size.QuadPart = 0;
    GetFileSizeEx(file, &size);
    const auto end = static_cast<std::uint64_t>(size.QuadPart);
    LARGE_INTEGER from;
    from.QuadPart = static_cast<LONGLONG>(std::max(start, end > kTailBytes ? end - kTailBytes : 0));
    std::string text(kTailBytes, '\0');
    DWORD bytes = 0;
    if (!SetFilePointerEx(file, from, nullptr, FILE_BEGIN) ||
        !ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &bytes, nullptr)) {
        bytes = 0;
    }
    CloseHandle(file);
    text.resize(bytes);
    return text;
}

bool IsFailure(const std::string& message) {
    constexpr std::array kSigns = {"EC:[", "failed", "too long"};
    return std::any_of(kSigns.begin(), kSigns.end(),
                       [&](const char* sign) { return message.find(sign) != std::string::npos; });
}

// The code that a message ends with, "" when it has none.
std::string CodeOf(const std::string& message) {
    const std::size_t at = message.rfind("EC:[");
    return at == std::string::npos ? "" : message.substr(at);
}

// Without the tag and the function that begin every message and the code that ends it.
std::string Words(std::string message) {
    message.erase(std::min(message.size(), message.rfind("EC:[")));
    message.erase(message.find_last_not_of(" .:") + 1);
    const std::size_t end = message.find("]:", std::string(kMessageStart).size());
    message.erase(0, end == std::string::npos ? 0 : end + 2);
    return Escaped(HostDisplayText(WideFromUtf8(message)));
}

void RequireNotOfState(const WString& path, const StateFiles& state) {
    if (path.empty()) {
        return;
    }
    for (const StateRole& role : Roles(state)) {
        RequireDistinct({"FENWICKEL_LOG", path}, role);
    }
}

}  // namespace

LibraryLog::LibraryLog(const StateFiles& state)
    : m_path(NamedByUser()), m_file(INVALID_HANDLE_VALUE) {
    RequireNotOfState(m_path, state);
    if (OpenNamed()) {
        return;
    }
    m_path = HostMakeTemporaryFile();
    m_temporary = !m_path.empty();
    if (m_temporary) {
        SetEnvironmentVariableW(kVariable, m_path.c_str());
    }
}

// Finds out what the file holds already. False, with a warning unless nobody named a file, when
// the library could not write to it.
bool LibraryLog::OpenNamed() {
    if (m_path.empty()) {
        return false;
    }
    m_file = CreateFileW(m_path.c_str(), FILE_APPEND_DATA,
                         FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                         OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_file == INVALID_HANDLE_VALUE) {
        const int code = static_cast<int>(GetLastError());
        std::fprintf(stderr, "fenwickel: cannot write FENWICKEL_LOG %s: %s: going on without it\n",
                     Quoted(m_path).c_str(), Reason(code).c_str());
        return false;
    }
    LARGE_INTEGER size;
    m_start = GetFileSizeEx(m_file, &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    return true;
}

LibraryLog::~LibraryLog() {
    if (m_file != INVALID_HANDLE_VALUE) {
        CloseHandle(m_file);
    }
    if (m_temporary) {
        DeleteFileW(m_path.c_str());
    }
}

// A message is one line. A file that other programs write to as well may hold other lines.
std::vector<std::string> LibraryLog::OwnMessages() const {
    const std::string text = m_path.empty() ? "" : Tail(m_path, m_start);
    std::vector<std::string> messages;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        std::string line = text.substr(at, end - at);
        if (line.starts_with(kMessageStart)) {
            messages.push_back(std::move(line));
        }
        at = end + 1;
    }
    return messages;
}

std::string LibraryLog::Cause(int code) const {
    const std::string words = LastFailure();
    return (words.empty() ? "" : words + ": ") + Reason(code);
}

std::string LibraryLog::LastFailure() const {
    std::vector<std::string> failures = OwnMessages();
    std::erase_if(failures, [](const std::string& message) { return !IsFailure(message); });
    if (failures.empty()) {
        return {};
    }
    std::size_t first = failures.size() - 1;
    while (first > 0 && CodeOf(failures[first - 1]) == CodeOf(failures.back())) {
        --first;
    }
    return Words(failures[first]);
}
