// What the user asked of each command, as plain values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Commands.h"

// The options --base, --syncing and --deleted as the user gave them.
struct StateArguments {
    std::string base;
    std::string syncing;
    std::string deleted;
};

struct DetectOptions {
    StateArguments state;
    std::vector<std::string> pairs;
    std::vector<std::string> ignores;
    bool forceAll = false;
    bool json = false;
    bool exitCode = false;
};

struct DumpOptions {
    std::string file;
    std::string statuses;
    bool json = false;
};

// For commit and discard, which end a pending run.
struct PendingOptions {
    StateArguments state;
    bool json = false;
};

// Parses the arguments of the command into its options, one of the three structures above. Nothing
// when they asked for help or for the version, which has then been printed. Throws Failure with the
// usage exit code.
template <typename Options>
std::optional<Options> ParseOptions(const Command& command, std::vector<std::string> arguments);
