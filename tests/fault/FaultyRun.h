// Runs the program that users get with a fault in it.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

// How a child process ended.
struct Ended {
    bool hung = false;
    int exitCode = -1;  // -1 when a signal ended it
    int signal = 0;
    std::string err;
};

// Runs a command; its log, temporary files, trace and messages go into the folder. The fault may be
// empty; calls are traced when tracing.
Ended RunFaulty(const std::filesystem::path& folder, std::vector<std::string> arguments,
                const std::string& fault = "", bool tracing = false);

// How often the last traced run in the folder called each function of the layer.
std::map<std::string, long long> TracedCalls(const std::filesystem::path& folder);

// All of so many calls; of thousands, which fill the pools, the first, some on the way, and some of
// the last, which belong to the walk.
std::vector<long long> CallsToTry(long long calls);
