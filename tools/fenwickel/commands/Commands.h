// The commands of the program: a row of the table and a source file each.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "report/Json.h"

// One command as main sees it.
struct Command {
    const char* name;  // one word, or a group and a word, as "log show"
    const char* summary;
    // Runs the command on its arguments and returns the exit code. Throws Failure.
    int (*run)(const Command& command, std::vector<std::string> arguments);
    // What --json prints beside result and message when the command failed; null for a command
    // that prints a line per record.
    JsonFields (*emptyResult)();
};

// The table, in the order of the help text.
std::span<const Command> AllCommands();

int RunDetect(const Command& command, std::vector<std::string> arguments);
int RunDump(const Command& command, std::vector<std::string> arguments);
int RunCommit(const Command& command, std::vector<std::string> arguments);
int RunDiscard(const Command& command, std::vector<std::string> arguments);
int RunSync(const Command& command, std::vector<std::string> arguments);
int RunStatus(const Command& command, std::vector<std::string> arguments);
int RunSnapshots(const Command& command, std::vector<std::string> arguments);
int RunLogShow(const Command& command, std::vector<std::string> arguments);
int RunLogLevel(const Command& command, std::vector<std::string> arguments);
int RunLogFile(const Command& command, std::vector<std::string> arguments);
int RunLogCat(const Command& command, std::vector<std::string> arguments);
int RunLogWatch(const Command& command, std::vector<std::string> arguments);
int RunLogBreak(const Command& command, std::vector<std::string> arguments);

// The fields of the JSON result of detect, sync and status without a run.
JsonFields EmptyDetectResult();
JsonFields EmptySyncResult();
JsonFields EmptyStatusResult();
