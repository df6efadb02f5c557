// What a run did: its counts and circumstances, for the summary and for "status".
#pragma once

#include <cstdint>
#include <string>

#include "report/Json.h"

enum class RunOutcome { Open, Committed, Pending, DryRun, Failed, Discarded };

struct RunSummary {
    std::string run;  // its id
    RunOutcome outcome = RunOutcome::Open;
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

// The members by the names that they have in JSON, in the order of printing.
struct SummaryText {
    const char* name;
    std::string RunSummary::*member;  // null: the outcome
};

struct SummaryCount {
    const char* name;
    std::uint64_t RunSummary::*member;
};

inline constexpr SummaryText kSummaryTexts[] = {
    {"run", &RunSummary::run},           {"outcome", nullptr},
    {"started", &RunSummary::started},   {"to", &RunSummary::destination},
    {"snapshot", &RunSummary::snapshot}, {"note", &RunSummary::note},
};

inline constexpr SummaryCount kSummaryCounts[] = {
    {"new", &RunSummary::fresh},
    {"changed", &RunSummary::changed},
    {"unchanged", &RunSummary::unchanged},
    {"deleted", &RunSummary::deleted},
    {"sent", &RunSummary::sent},
    {"removed", &RunSummary::removed},
    {"not_carried", &RunSummary::notCarried},
    {"skipped", &RunSummary::skipped},
    {"tick_files", &RunSummary::tickFiles},
    {"elapsed_ms", &RunSummary::elapsedMs},
};

std::string TextOf(const RunSummary& summary, const SummaryText& text);

// False for an outcome that is none.
bool SetText(RunSummary* summary, const SummaryText& text, std::string value);

// "committed", "pending", "dry run", "failed" or "discarded"; "" for an open run.
const char* OutcomeName(RunOutcome outcome);

// "20261123T101500Z-" and eight hex digits that no other run has. Throws Failure.
std::string NewRunId();

// The time now as RunSummary::started has it.
std::string TimestampNow();

// The summary as the fields of a JSON object, in the order of the tables above.
JsonFields Fields(const RunSummary& summary);

// The summary as a table for people, one line a value; lines that say nothing are left out.
std::string Table(const RunSummary& summary);
