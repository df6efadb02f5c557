// What a state folder remembers of its runs: the one that is not ended, what the base stands for,
// and how the last run ended. All are small JSON files that are replaced in one step.
//
// Functions throw Failure: Damaged when a file is there that cannot be understood (the message says
// which and what to do), else Failed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "StateFolder.h"
#include "report/Json.h"

// Under which circumstances a base was made. It means nothing under others: the position of a
// folder is all that a record says about it, and what was sent was sent to one place.
struct StateSettings {
    std::vector<WString> folders;  // as the command line named them, resolved; the path index
    std::vector<WString> volumes;  // name of each folder's volume, "" where it could not be told
    std::vector<WString> nested;   // full paths of the mounts and subvolumes skipped, sorted
    std::string destination;       // --to of the last run that had one
};

// Whether the path is one of those, which are sorted, or lies in one. Each beginning of the path is
// looked up: there may be thousands of them, asked about for every file.
bool LiesInOne(std::basic_string_view<WCHAR> path, const std::vector<WString>& paths);

// A run's counts and circumstances, for the summary and for "status".
struct RunSummary {
    std::string run;          // its id
    std::string outcome;      // "committed", "pending", "dry run", "failed", "discarded"
    std::string started;      // UTC, ISO 8601 with seconds
    std::string destination;  // "" without --to
    std::string snapshot;     // what was read: "btrfs", "vss", "live", "off"; several with ", "
    std::string note;         // why it is no point in time, "" when it is one
    std::uint64_t fresh = 0;  // new files
    std::uint64_t changed = 0;
    std::uint64_t unchanged = 0;
    std::uint64_t deleted = 0;
    std::uint64_t sent = 0;        // handed over and, where the uploader tells, counted there
    std::uint64_t removed = 0;     // names handed over for removal
    std::uint64_t notCarried = 0;  // new or changed, but nothing that the uploader can carry
    std::uint64_t skipped = 0;     // below skipped mounts
    std::uint64_t tickFiles = 0;   // written in the clock tick of the snapshot or later
    std::uint64_t elapsedMs = 0;
    int exitCode = 0;
    std::string message;  // of a run that failed
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

// "20261123T101500Z-" and eight hex digits that no other run has.
std::string NewRunId();

// The time now as RunSummary::started has it.
std::string TimestampNow();

std::optional<RunRecord> LoadRun(const StateFolder& state);
void SaveRun(const StateFolder& state, const RunRecord& run);
void RemoveRun(const StateFolder& state);

std::optional<StateSettings> LoadSettings(const StateFolder& state);
void SaveSettings(const StateFolder& state, const StateSettings& settings);

std::optional<RunSummary> LoadLast(const StateFolder& state);
void SaveLast(const StateFolder& state, const RunSummary& last);

// The summary as the fields of a JSON object, in the order of printing: run, outcome, started, to,
// snapshot, note, new, changed, unchanged, deleted, sent, removed, not_carried, skipped,
// tick_files, elapsed_ms.
JsonFields Fields(const RunSummary& summary);

// The summary as a table for people, one line a value; lines that say nothing are left out.
std::string Table(const RunSummary& summary);
