// fenwickel log show: the log configuration of a running process.
#include <algorithm>

#include "Commands.h"
#include "Options.h"
#include "log/LibraryLog.h"
#include "log/LogAccount.h"
#include "log/LogConfig.h"
#include "logshare/SharedText.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "system/Paths.h"

namespace {

// One row of the table: a module, or the process as a whole.
struct LogSettings {
    std::string module;  // empty: the process
    std::string file;    // empty: none
    int level = kLogLevelNone;
    bool followsLevel = false;
    bool followsFile = false;
};

template <std::size_t N>
std::string Shown(const WCHAR (&field)[N]) {
    return HostDisplayText(TextOf(field));
}

// The process first.
std::vector<LogSettings> Read(const LogConfig& config) {
    std::vector<LogSettings> rows;
    config.Use([&rows](const LogCfgBlock& block) {
        rows.push_back({"", Shown(block.szLogFile), block.nLevel});
        for (std::size_t i = 0; i < ModuleCount(block); ++i) {
            const LogCfgEntry& entry = block.entries[i];
            rows.push_back({Shown(entry.szModuleName), Shown(entry.szLogFile), entry.nLevel,
                            (entry.dwFlags & kFollowProcessLevel) != 0,
                            (entry.dwFlags & kFollowProcessFile) != 0});
        }
    });
    return rows;
}

std::string LevelText(int level) {
    return level == kLogLevelNone ? "none" : std::to_string(level);
}

std::string FileText(const std::string& file) {
    return file.empty() ? "none" : Escaped(file);
}

std::string FlagsText(const LogSettings& row) {
    return std::string(row.followsLevel ? "follows the process's level" : "own level") + ", " +
           (row.followsFile ? "follows the process's file" : "own file");
}

std::string Column(std::string text, std::size_t width) {
    text.resize(std::max(text.size(), width) + 2, ' ');
    return text;
}

std::string Table(const LogConfig& config, const std::vector<LogSettings>& rows) {
    std::string text = config.Name() + "\nlevel  " + LevelText(rows[0].level) + "\nfile   " +
                       FileText(rows[0].file) + "\n\n";
    std::size_t width = 6;
    for (const LogSettings& row : rows) {
        width = std::max(width, Escaped(row.module).size());
    }
    constexpr std::size_t kLevelWidth = 5;
    constexpr std::size_t kFlagsWidth = 55;
    text += Column("module", width) + Column("level", kLevelWidth) + Column("flags", kFlagsWidth) +
            "file\n";
    for (std::size_t i = 1; i < rows.size(); ++i) {
        text += Column(Escaped(rows[i].module), width) +
                Column(LevelText(rows[i].level), kLevelWidth) +
                Column(FlagsText(rows[i]), kFlagsWidth) + FileText(rows[i].file) + "\n";
    }
    return text;
}

std::string JsonLines(DWORD processId, const std::vector<LogSettings>& rows) {
    std::string text;
    for (const LogSettings& row : rows) {
        JsonFields fields = {{"pid", std::uint64_t{processId}}};
        if (!row.module.empty()) {
            fields.insert(fields.end(), {{"module", row.module},
                                         {"follows_process_level", row.followsLevel},
                                         {"follows_process_file", row.followsFile}});
        }
        fields.insert(fields.end(), {{"level", row.level}, {"file", row.file}});
        AppendJsonLine(text, fields);
    }
    return text;
}

}  // namespace

int RunLogShow(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<LogShowOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const DWORD processId = ParseProcessId(options->process);
    ActFor(options->user);
    const LibraryLog log;
    const LogConfig config(processId);
    const std::vector<LogSettings> rows = Read(config);
    PrintWhole(options->json ? JsonLines(processId, rows) : Table(config, rows));
    return ExitCode::Done;
}
