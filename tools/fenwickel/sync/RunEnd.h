// How a run of a state folder ends. All functions need the lock of the state, and throw Failure.
#pragma once

#include <optional>

#include "RunRecord.h"
#include "report/LibraryFailures.h"

// Commits a run whose files are complete and which is handed over or was sent by hand: writes down
// that it is committing, then does what FinishCommit does. Once that is written down, run->stage is
// Committing, also when a later step throws.
void CommitRun(const StateFolder& state, RunRecord* run, const LibraryFailures& library);

// Commits the listings of a run that is committing, deletes the list of deleted files and the lists
// of paths, puts the run's settings in force, writes the last summary, and forgets the run. May be
// repeated after an interruption at any point.
void FinishCommit(const StateFolder& state, const RunRecord& run, const LibraryFailures& library);

// Deletes what a run has written, the lists and the record of the run included. Refuses a run that
// is committing. run is what LoadRun gave, nothing when no run is open. The unsettled paths stay:
// they tell what the destination may have got of it.
void DiscardRun(const StateFolder& state, std::optional<RunRecord> run,
                const LibraryFailures& library);
