// Turns the listings of a run into the work at the destination.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "PathKey.h"
#include "RunRecord.h"
#include "upload/Uploader.h"

// What a plan is made of.
struct PlanInput {
    const StateFolder& state;
    const StateSettings& settings;          // of this run
    const std::vector<WString>& snapshots;  // where each folder is read, with '\\' at its end
    const Uploader& uploader;
    std::uint64_t tick = 0;  // files written then or later are counted
    // Called for every path to remove, to send, or that cannot be carried, with the words for
    // it; may be empty.
    std::function<void(const char* what, const WString& path, const std::string& why)> tell;
};

// The work, per folder. The lists lie in the state folder.
struct Plan {
    std::vector<HandOver> folders;
    std::vector<std::uint64_t> foundPerFolder;  // files of the new listing, but for skipped ones
    // Files of the base that go from the destination: deleted, not carried any more, or below a
    // mount that is skipped now.
    std::uint64_t lost = 0;
    // Per folder, paths that the base does not have, but the destination may: an earlier run handed
    // them over.
    std::vector<std::uint64_t> unsettled;
    // Records of the new listing that must not be committed, since their files are not sent: not
    // carried, or below a skipped mount.
    PathKeys dropped;

    bool IsEmpty() const;
};

// Reads the listings, adds what earlier runs left unsettled, writes the lists and gathers the
// unsettled paths of this run, and fills the counts of the summary. Throws Failure.
Plan MakePlan(const PlanInput& input, RunSummary* summary);
