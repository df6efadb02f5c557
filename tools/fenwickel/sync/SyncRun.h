// One run of sync, from the lock of the state to the committed copy.
#pragma once

#include <memory>

#include "SyncRequest.h"
#include "report/LibraryFailures.h"

// Runs the request and returns what the run did. The state folder must exist. What the user has to
// know meanwhile is told on standard error. Throws Failure, without the snapshot, and then without
// what the run has written unless its commit had begun; status tells how it failed.
//
// The order, and why each step is where it is:
//  1. Under the lock, what an earlier run left. run.json says how far that came: `committing` means
//  that
//     everything was sent, so its commit is finished; `pending` waits for the user; `running` is
//     discarded, but only once the checks of step 3 have let this run begin.
//  2. Leftover snapshots are deleted before a new one is taken: they fill the volume.
//  3. Folders, volumes and mounts are compared with the last commit before the snapshot, so that a
//     disk that is not mounted costs nothing. Only then is the record `running` written: a refused
//     run leaves nothing behind.
//  4. Snapshot, then the detection in it. The clock is read before the snapshot is taken, so a file
//     with that time or a later one counts as uncertain, never the other way round.
//  5. Plan: the lists are written whole, and the brakes look at their counts. A dry run ends here.
//  So
//     does a run whose destination is empty and should not be.
//  6. The unsettled paths are put in force before anything can be sent. A run that is killed from
//     here on leaves them, and the next one sends or removes each of them again.
//  7. The removals of all folders, then the sends: a file may come where a folder was, and a full
//     destination gets room first.
//  8. What was not carried is dropped from the new listing: a record that stays counts as sent.
//  9. Commit: run.json becomes `committing`, and from there on every step may be repeated. A run
//     without a destination becomes `pending` instead. The snapshot is released last.
//
// A run that is killed leaves, up to step 3, nothing; up to step 6, files that the next run
// deletes; in 6 to 8, these and the unsettled paths; in 9, a commit that the next run finishes.
RunSummary Synchronise(SyncRequest& request, const StateLock& lock, const LibraryFailures& library);

// The lock of the state, for Synchronise and for what is told of its lists afterwards. Waits for
// another run as long as the user allows. Throws Failure.
std::unique_ptr<StateLock> LockState(const SyncRequest& request);
