// What a state folder remembers of its runs: the one that is not ended, what the base stands for,
// and how the last run ended. All are small JSON files that are replaced in one step.
//
// Functions throw Failure: Damaged when a file is there that cannot be understood (the message says
// which and what to do), else Failed.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "RunSummary.h"
#include "StateFolder.h"

// Under which circumstances a base was made. It means nothing under others: the position of a
// folder is all that a record says about it, and what was sent was sent to one place.
struct StateSettings {
    std::vector<WString> folders;  // as the command line named them, resolved; the path index
    std::vector<WString> volumes;  // name of each folder's volume, "" where the system gives none
    std::vector<WString> nested;   // full paths of the mounts and subvolumes skipped, sorted
    std::string destination;       // --to of the last run that had one
};

// How far a run has come, and whether it can be taken back.
enum class RunStage {
    Running,     // what it wrote is a leftover once its process is gone
    Pending,     // complete; waits for commit or discard
    Committing,  // everything is sent: the commit must be finished, whatever happens
};

struct RunRecord {
    RunStage stage = RunStage::Running;
    StateSettings settings;  // in force once the run is committed
    RunSummary summary;
};

std::optional<RunRecord> LoadRun(const StateFolder& state);
void SaveRun(const StateFolder& state, const RunRecord& run);
void RemoveRun(const StateFolder& state);

std::optional<StateSettings> LoadSettings(const StateFolder& state);
void SaveSettings(const StateFolder& state, const StateSettings& settings);

std::optional<RunSummary> LoadLast(const StateFolder& state);
void SaveLast(const StateFolder& state, const RunSummary& last);
