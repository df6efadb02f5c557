// What the user asked of each command, as plain values. SyncOptions and StateArguments stand in the
// rooms that use them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "listing/StateFiles.h"
#include "sync/SyncOptions.h"

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

// For commit and discard, which end a pending run: of the three files, or of a state folder.
struct PendingOptions {
    StateArguments state;
    std::string stateFolder;  // "": the three files
    std::string run;          // id; "": whichever is pending
    bool json = false;
};

struct StatusOptions {
    std::string state;
    bool json = false;
};

struct SnapshotsOptions {
    std::vector<std::string> folders;  // empty: every volume
    bool prune = false;
    bool json = false;
};

// What the log commands have in common.
struct LogOptions {
    std::string user;  // "": this account
    bool json = false;
};

struct LogShowOptions : LogOptions {
    std::string process;
};

// What log level and log file have in common.
struct LogChangeOptions : LogOptions {
    std::string process;
    std::string value;
    std::string module;  // empty: the whole process
};

struct LogLevelOptions : LogChangeOptions {};
struct LogFileOptions : LogChangeOptions {};

struct LogCatOptions : LogOptions {
    std::string file;
    std::string level;
    std::string text;
    std::string since;
    bool follow = false;
};

struct LogWatchOptions : LogOptions {
    std::vector<std::string> executables;  // empty: every one that runs
    std::optional<int> level;
    std::string text;
};

struct LogBreakOptions : LogOptions {
    std::string executable;
    std::string text;
    std::uint32_t process = 0;                  // 0: any
    std::uint32_t thread = 0;                   // 0: any
    std::optional<std::uint32_t> releaseAfter;  // seconds
};

// Parses the arguments of the command into its options, one of the structures above. Nothing when
// they asked for help or for the version, which has then been printed. Throws Failure with the
// usage exit code.
template <typename Options>
std::optional<Options> ParseOptions(const Command& command, std::vector<std::string> arguments);
