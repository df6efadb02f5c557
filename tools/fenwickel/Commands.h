// The commands of the program: one entry of the table and one source file each.
#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// One command as main sees it.
struct Command {
    const char* name;
    const char* summary;
    // Runs the command on its arguments and returns the exit code. Throws Failure.
    int (*run)(CLI::App& app, std::vector<std::string> arguments);
    // What --json prints beside result and message when the command failed; null for a command
    // that prints a line per record.
    nlohmann::ordered_json (*emptyResult)();
};

int RunDetect(CLI::App& app, std::vector<std::string> arguments);
int RunDump(CLI::App& app, std::vector<std::string> arguments);
int RunCommit(CLI::App& app, std::vector<std::string> arguments);
int RunDiscard(CLI::App& app, std::vector<std::string> arguments);

// The fields of detect's JSON result without a run.
nlohmann::ordered_json EmptyDetectResult();

// Parses the arguments. False when they asked for help, which has then been printed. Throws
// Failure with the usage exit code.
bool ParseArguments(CLI::App& app, std::vector<std::string> arguments);

// Prints {"result": ..., "message": ..., then the fields} on a line of its own.
void PrintJsonResult(int result, const std::string& message, const nlohmann::ordered_json& fields);
