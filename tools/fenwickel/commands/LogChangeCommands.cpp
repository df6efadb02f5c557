// fenwickel log level, log file: change the log configuration of a running process. The process
// reads it for every message, so the next one obeys.
#include <charconv>

#include "Commands.h"
#include "Options.h"
#include "listing/StateFiles.h"
#include "log/LibraryLog.h"
#include "log/LogAccount.h"
#include "log/LogConfig.h"
#include "logshare/SharedText.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "system/Entries.h"

namespace {

constexpr const char* kDefault = "default";

int ParseNewLevel(const std::string& value) {
    if (value == kDefault) {
        return kLogLevelNone;
    }
    int level = -1;
    const char* const end = value.data() + value.size();
    const auto parsed = std::from_chars(value.data(), end, level);
    if (parsed.ec != std::errc() || parsed.ptr != end || level < 0) {
        throw Failure(ExitCode::Usage,
                      "level \"" + Escaped(value) + "\": name a number from 0 on, or \"default\"");
    }
    return level;
}

// Empty for "default".
WString ParseFile(const std::string& value) {
    if (value == kDefault) {
        return {};
    }
    WString path = PathArgument("PATH", value);
    if (path.size() >= kLogPathCapacity) {
        throw Failure(ExitCode::Usage, "PATH has " + std::to_string(path.size()) +
                                           " characters: name one of " +
                                           std::to_string(kLogPathCapacity - 1) + " at most");
    }
    if (HostIsFolder(path)) {
        throw Failure(ExitCode::Usage, "PATH " + Quoted(path) + " is a folder: name a file");
    }
    return path;
}

void SetLevel(LogCfgBlock& block, const std::string& module, int level) {
    if (module.empty()) {
        block.nLevel = level;
        return;
    }
    LogCfgEntry& entry = ModuleEntry(block, module);
    entry.nLevel = level;
    entry.dwFlags = level == kLogLevelNone ? entry.dwFlags | kFollowProcessLevel
                                           : entry.dwFlags & ~kFollowProcessLevel;
}

// Only the module knows its default file. It puts it into an entry that has none.
void SetFile(LogCfgBlock& block, const std::string& module, const WString& path) {
    if (module.empty()) {
        SetText(block.szLogFile, path);
        return;
    }
    LogCfgEntry& entry = ModuleEntry(block, module);
    SetText(entry.szLogFile, path);
    entry.dwFlags =
        path.empty() ? entry.dwFlags | kFollowProcessFile : entry.dwFlags & ~kFollowProcessFile;
}

// what: "level" or "file".
void PrintDone(const LogChangeOptions& options, const LogConfig& config, const std::string& what,
               const std::string& value) {
    if (options.json) {
        PrintJsonResult(0, "", {});
        return;
    }
    const std::string who =
        (options.module.empty() ? "" : Escaped(options.module) + " in ") + config.Name();
    PrintWhole(who + ": log " + what + " is now " + value + "\n");
}

}  // namespace

int RunLogLevel(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<LogLevelOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const DWORD processId = ParseProcessId(options->process);
    const int level = ParseNewLevel(options->value);
    ActFor(options->user);
    const LibraryLog log;
    const LogConfig config(processId);
    config.Use([&](LogCfgBlock& block) { SetLevel(block, options->module, level); });
    PrintDone(*options, config, "level", level == kLogLevelNone ? kDefault : std::to_string(level));
    return ExitCode::Done;
}

int RunLogFile(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<LogFileOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const DWORD processId = ParseProcessId(options->process);
    const WString path = ParseFile(options->value);
    ActFor(options->user);
    const LibraryLog log;
    const LogConfig config(processId);
    config.Use([&](LogCfgBlock& block) { SetFile(block, options->module, path); });
    PrintDone(*options, config, "file", path.empty() ? kDefault : Quoted(path));
    return ExitCode::Done;
}
