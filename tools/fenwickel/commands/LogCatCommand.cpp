// fenwickel log cat: a log file as UTF-8.
#include <charconv>
#include <chrono>
#include <cstdio>
#include <thread>

#include "Commands.h"
#include "Options.h"
#include "listing/StateFiles.h"
#include "log/LibraryLog.h"
#include "log/LogAccount.h"
#include "log/LogFileStream.h"
#include "log/LogTime.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "system/StopSignals.h"

namespace {

// How long --follow waits before it looks again.
constexpr std::chrono::milliseconds kFollowNap{200};

// Which entries are wanted.
struct Filter {
    bool active = false;  // false: every entry
    int level = INT_MAX;
    std::uint64_t since = 0;
    WString text;

    bool Wants(const LogEntry& entry) const {
        return !active ||
               (entry.kind == LogEntry::Kind::Message && entry.header.level <= level &&
                LogTimeKey(entry.header.time) >= since && entry.text.find(text) != WString::npos);
    }
};

int ParseHighestLevel(const std::string& argument) {
    int level = 0;
    const char* const end = argument.data() + argument.size();
    const auto parsed = std::from_chars(argument.data(), end, level);
    if (parsed.ec != std::errc() || parsed.ptr != end) {
        throw Failure(ExitCode::Usage, "--level \"" + Escaped(argument) + "\" is no number");
    }
    return level;
}

Filter ParseFilter(const LogCatOptions& options) {
    Filter filter;
    if (!options.level.empty()) {
        filter.level = ParseHighestLevel(options.level);
    }
    if (!options.since.empty()) {
        filter.since = ParseLogTime(options.since);
    }
    filter.text = WideFromUtf8(options.text);
    filter.active = !options.level.empty() || !options.since.empty() || !options.text.empty();
    return filter;
}

// The lines of the entry, each safe for a terminal.
std::string PlainText(const LogEntry& entry) {
    const std::string lines = Utf8FromWide(entry.lines);
    std::string text;
    for (std::size_t at = 0; at <= lines.size();) {
        const std::size_t end = std::min(lines.find('\n', at), lines.size());
        text += Escaped(lines.substr(at, end - at)) + '\n';
        at = end + 1;
    }
    return text;
}

// Nothing for the summary.
std::string JsonText(const LogEntry& entry) {
    std::string text;
    if (entry.kind == LogEntry::Kind::Fragment) {
        AppendJsonLine(text, {{"fragment", Utf8FromWide(entry.lines)}});
    } else if (entry.kind == LogEntry::Kind::Message) {
        const LogLineHeader& header = entry.header;
        const LogLineTail& tail = entry.tail;
        const std::string version =
            std::to_string(tail.build) + '.' + std::to_string(tail.revision);
        AppendJsonLine(text, {{"time", LocalTimeText(header.time)},
                              {"level", header.level},
                              {"pid", std::uint64_t{header.processId}},
                              {"tid", std::uint64_t{header.threadId}},
                              {"code", std::uint64_t{header.errorCode}},
                              {"process", Utf8FromWide(tail.process)},
                              {"module", Utf8FromWide(tail.module)},
                              {"version", tail.module.empty() ? std::string() : version},
                              {"text", Utf8FromWide(entry.text)}});
    }
    return text;
}

// False when a stop request came before the end of what there is.
bool PrintEntries(LogFileStream& stream, const Filter& filter, bool json, Output& output) {
    for (LogEntry entry; stream.Next(&entry);) {
        if (filter.Wants(entry)) {
            output.Print(json ? JsonText(entry) : PlainText(entry));
        }
        if (HostStopExitCode() != 0) {
            return false;
        }
    }
    return true;
}

void Cat(LogFileStream& stream, const Filter& filter, const LogCatOptions& options) {
    Output output;
    bool atEnd = PrintEntries(stream, filter, options.json, output);
    while (options.follow && atEnd && HostStopExitCode() == 0) {
        if (!stream.Advance()) {
            output.Flush();
            std::this_thread::sleep_for(kFollowNap);
        }
        atEnd = PrintEntries(stream, filter, options.json, output);
    }
    if (atEnd) {
        stream.Finish();
        PrintEntries(stream, filter, options.json, output);
    }
    output.Flush();
}

}  // namespace

int RunLogCat(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<LogCatOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const Filter filter = ParseFilter(*options);
    const WString path = PathArgument("FILE", options->file);
    ActFor(options->user);
    HostCatchStopSignals();
    const LibraryLog log;
    LogFileStream stream(path);
    try {
        Cat(stream, filter, *options);
    } catch (const OutputClosed&) {
        return ExitCode::Done;  // the reader of the pipe has seen enough
    }
    return HostStopExitCode();
}
