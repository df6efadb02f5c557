// How a run of a state folder ends. All functions need the lock of the state.
#pragma once

#include "RunRecord.h"
#include "log/LibraryLog.h"

// Commits a run whose files are complete and which is handed over or was sent by hand: writes down
// that it is committing, commits, deletes the list of deleted files and the lists of paths, puts
// the run's settings in force, writes the last summary, and forgets the run. Whatever happens in
// between, FinishInterrupted goes on. Throws Failure.
void CommitRun(const StateFolder& state, RunRecord run, const LibraryLog& log);

// When a commit was interrupted, finishes it and returns true. Throws Failure.
bool FinishInterrupted(const StateFolder& state, const LibraryLog& log);

// Deletes what a run has written, the lists and the record of the run included. The unsettled paths
// stay: they tell what the destination may have got of it. Throws Failure.
void DiscardRun(const StateFolder& state, const LibraryLog& log);
