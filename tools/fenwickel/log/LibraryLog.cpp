#include "LibraryLog.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>
#include <utility>
#include <vector>

#include "LogConfig.h"
#include "logshare/LogEntries.h"
#include "logshare/LogText.h"
#include "logshare/SharedText.h"
#include "platform/LogPlace.h"
#include "platform/OwnedHandle.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

using View = std::basic_string_view<WCHAR>;

constexpr const WCHAR* kFileName = WIDE("\\fenwickel.Log");
constexpr std::uint64_t kTailBytes = 256 * 1024;  // far more than the lines of one failure
constexpr std::size_t kMarkBytes = 2;             // where a file may say that it is UTF-16
// What the library's messages begin with: a tag and a function, a function, or, of those that find
// the volume of a path, neither.
constexpr std::array<View, 5> kMessageStarts = {
    WIDE("[SYNC]:["), WIDE("[CMetaVSS::"), WIDE("GetVolumePathName for meta:["),
    WIDE("GetVolumeNameForVolumeMountPoint for meta:["), WIDE("The meta path:[")};
constexpr View kCodeStart = WIDE("EC:[");

std::string BytesAt(HANDLE file, std::uint64_t from, std::size_t count) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(from);
    std::string bytes(count, '\0');
    DWORD read = 0;
    if (!SetFilePointerEx(file, position, nullptr, FILE_BEGIN) ||
        !ReadFile(file, bytes.data(), static_cast<DWORD>(count), &read, nullptr)) {
        read = 0;
    }
    bytes.resize(read);
    return bytes;
}

// The beginning of the file, which tells its encoding, and its last kTailBytes.
std::string Tail(const WString& path) {
    const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return {};
    }
    LARGE_INTEGER size;
    size.QuadPart = 0;
    GetFileSizeEx(file.get(), &size);
    const auto end = static_cast<std::uint64_t>(size.QuadPart);
    const std::uint64_t from = end > kTailBytes ? end - kTailBytes : 0;
    return BytesAt(file.get(), 0, kMarkBytes) +
           BytesAt(file.get(), std::max<std::uint64_t>(from - from % kMarkBytes, kMarkBytes),
                   kTailBytes);
}

std::vector<LogEntry> Entries(std::string_view bytes) {
    LogTextDecoder text;
    LogEntryReader reader;
    text.Feed(bytes);
    for (WString line; text.NextLine(&line) || text.Rest(&line);) {
        reader.AddLine(line);
    }
    reader.End();
    std::vector<LogEntry> entries;
    for (LogEntry entry; reader.Next(&entry);) {
        entries.push_back(std::move(entry));
    }
    return entries;
}

// Where this process logs now: the process-wide file, which rolls over and which another tool may
// have set, then the file of the only module, for a process that must not use the first.
std::vector<WString> CurrentFiles() {
    std::vector<WString> files;
    try {
        LogConfig(GetCurrentProcessId()).Use([&files](const LogCfgBlock& block) {
            files = {TextOf(block.szLogFile), TextOf(block.entries[0].szLogFile)};
            if ((block.entries[0].dwFlags & kFollowProcessFile) == 0) {
                std::swap(files[0], files[1]);
            }
        });
    } catch (const Failure&) {
        files.clear();  // the block is damaged: the failure goes without words
    }
    return files;
}

bool IsOfLibrary(View message) {
    return std::any_of(kMessageStarts.begin(), kMessageStarts.end(),
                       [&](View start) { return message.starts_with(start); });
}

bool IsFailure(View message) {
    constexpr std::array<View, 4> kSigns = {kCodeStart, WIDE("failed"), WIDE("too long"),
                                            WIDE("can't be snapshot")};
    return std::any_of(kSigns.begin(), kSigns.end(),
                       [&](View sign) { return message.find(sign) != View::npos; });
}

// The code that a message ends with, "" when it has none.
View CodeOf(View message) {
    const std::size_t at = message.rfind(kCodeStart);
    return at == View::npos ? View() : message.substr(at);
}

// Without the tag and the function that begin a message and the code that ends it.
std::string Words(WString message) {
    message.erase(std::min(message.size(), message.rfind(kCodeStart)));
    message.erase(message.find_last_not_of(WIDE(" .:")) + 1);
    if (message.starts_with(WIDE('['))) {
        const View tag = kMessageStarts[0];
        const std::size_t end = message.find(WIDE("]:"), message.starts_with(tag) ? tag.size() : 0);
        message.erase(0, end == WString::npos ? 0 : end + 2);
    }
    return Escaped(HostDisplayText(message));
}

// What this process wrote into the file since then, in order. Ids of ended processes come back.
std::vector<WString> OwnMessages(const WString& path, std::uint64_t since) {
    std::vector<WString> messages;
    for (LogEntry& entry : Entries(Tail(path))) {
        if (entry.kind == LogEntry::Kind::Message &&
            entry.header.processId == GetCurrentProcessId() &&
            LogTimeKey(entry.header.time) >= since && IsOfLibrary(entry.text)) {
            messages.push_back(std::move(entry.text));
        }
    }
    return messages;
}

// The message with which the last failure began, for people: the library tells one failure several
// times, from the call that met it outwards, and the first of these messages names the file. Empty
// when there is none.
std::string LastFailure(std::vector<WString> messages) {
    std::erase_if(messages, [](const WString& message) { return !IsFailure(message); });
    if (messages.empty()) {
        return {};
    }
    std::size_t first = messages.size() - 1;
    while (first > 0 && CodeOf(messages[first - 1]) == CodeOf(messages.back())) {
        --first;
    }
    return Words(messages[first]);
}

// Without a file of the tool's the library logs beside the program. Where it may not, it goes to
// the account's own place, and logs nothing without one.
void SayWhenNothingIsLogged(const WString& path) {
    const bool mayLog = path.empty()
                            ? IsFolderForLogs(HostParentFolder(HostWidePath(HostOwnProgram())))
                            : MayLogTo(path.c_str());
    if (!mayLog && OwnLogFolder().empty()) {
        std::fprintf(stderr,
                     "fenwickel: the library's messages are not logged: this account has no home "
                     "folder: set HOME or XDG_STATE_HOME\n");
    }
}

}  // namespace

LibraryLog::LibraryLog() : LibraryLog(HostStateFolder()) {}

LibraryLog::LibraryLog(const WString& folder) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    m_begin = LogTimeKey(now);
    const WString path = folder.empty() ? folder : folder + kFileName;
    SayWhenNothingIsLogged(path);
    if (path.empty() || path.size() >= kLogPathCapacity) {
        return;
    }
    try {
        LogConfig(GetCurrentProcessId()).Use([&path](LogCfgBlock& block) {
            SetText(block.szLogFile, path);
        });
    } catch (const Failure&) {
        // What the run has to do does not depend on its log.
    }
}

Failure LibraryLog::FailureOf(int exitCode, int code, const std::string& action,
                              const std::string& remedy) const {
    std::vector<WString> messages;
    std::string where;
    for (const WString& file : CurrentFiles()) {
        if (messages.empty()) {
            messages = OwnMessages(file, m_begin);
            where = messages.empty() ? "" : "; see " + Quoted(file);
        }
    }
    const std::string words = LastFailure(std::move(messages));
    return {
        exitCode, code,
        action + ": " + (words.empty() ? "" : words + ": ") + Reason(code) + ": " + remedy + where};
}
