// One change detection by the library, for the commands that make one.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "StateFiles.h"
#include "fenwickel/SyncDetectFileChange.h"
#include "report/LibraryFailures.h"

// What to walk, and how.
struct DetectionInput {
    std::vector<stPathPair> pairs;
    std::map<std::int32_t, std::vector<WString>> ignored;
    bool forceAll = false;
};

// Counts the records of the base per path index. Refuses a damaged base, which must never read as
// files gone: throws Failure (Damaged) with the remedy. Says on standard error, for the command of
// that name, when there is no base.
std::vector<std::uint64_t> CountBase(const WString& base, const std::string& command,
                                     const std::string& remedy);

// Writes the syncing and the deleted-item file of the state, with a progress line on a terminal.
// Throws Failure, also on a stop request.
void Detect(const StateFiles& state, DetectionInput input, const LibraryFailures& library);
