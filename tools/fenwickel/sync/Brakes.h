// What stops a run before it could do harm: each brake throws Failure (Stopped, exit code 5) with a
// message that names the option which overrides it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "RunRecord.h"

// --max-delete: a number of files or a share of the previous listing.
struct DeleteLimit {
    std::uint64_t value = 50;
    bool isPercent = true;
};

// Understands N or N%. Throws Failure (Usage).
DeleteLimit ParseDeleteLimit(const std::string& argument);

struct BrakeOptions {
    DeleteLimit maxDelete;
    bool allowEmpty = false;    // --allow-empty
    bool forceAll = false;      // --force-all
    bool acceptMounts = false;  // --accept-mounts
};

// Records per folder (by path index), and all of them.
struct KnownCounts {
    std::vector<std::uint64_t> perFolder;
    std::uint64_t all = 0;
};

// Before anything is read. settings is in force (null before the first commit), now is what this
// run finds; base counts the previous listing. A missing folder, and a folder on another volume
// than before (--accept-mounts), whose listing was not empty; another list of skipped mounts
// (--accept-mounts).
void CheckFolders(const StateSettings* settings, const StateSettings& now, const KnownCounts& base,
                  const BrakeOptions& options);

// After the detection. An empty folder whose listing was not empty, or which the destination may
// have files of (--allow-empty: base.perFolder counts these, too), more known files lost than
// allowed (--max-delete), every known file changed (--force-all; a single file does not count).
void CheckCounts(const StateSettings& now, const KnownCounts& base,
                 const std::vector<std::uint64_t>& foundPerFolder, std::uint64_t lost,
                 const RunSummary& summary, const BrakeOptions& options);
