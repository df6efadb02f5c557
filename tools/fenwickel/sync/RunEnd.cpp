#include "RunEnd.h"

#include <filesystem>
#include <utility>

#include "listing/CommitSteps.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Patience.h"
#include "report/Stop.h"
#include "report/WholeFile.h"
#include "system/Entries.h"
#include "system/Paths.h"

namespace {

const char* const kSyncAgain = "discard the run and run fenwickel sync again";

void AwaitUnheld(const StateFiles& files) {
    const Patience patience(kFilePatience);
    for (;;) {
        try {
            return RequireUnheld(files);
        } catch (const Failure&) {
            ThrowIfStopped();
            if (!patience.Nap()) {
                throw;
            }
        }
    }
}

// An uploader may keep an empty folder there while it runs.
void RemoveFolder(const WString& folder) {
    const std::string native = HostNativePath(folder);
    std::error_code failed;
    std::filesystem::remove(std::u8string(native.begin(), native.end()), failed);
    if (failed) {
        throw Failure(ExitCode::Failed,
                      "cannot delete the folder " + Quoted(folder) + ": " + failed.message() +
                          " (" + std::to_string(failed.value()) + "): delete it and run again");
    }
}

// The names are gathered first: a search that meets its own deletions may leave something out.
void RemoveFilesOfOneRun(const StateFolder& state) {
    const auto names = HostNamesIn(state.path);
    if (!names) {
        throw SystemFailure(ExitCode::Failed, "list", state.path, GetLastError(),
                            "make it readable");
    }
    for (const WString& name : *names) {
        const WString path = state.path + WIDE("\\") + name;
        if (BelongsToOneRun(name)) {
            HostEntryAt(path) == HostEntry::Folder ? RemoveFolder(path) : RemoveFile(path);
        }
    }
}

// The library deletes the base, then gives the new listing its name. So a commit that was killed
// has left one of three states:
//   base and new listing    nothing has happened: commit
//   new listing alone       the base is deleted: commit, which renames
//   base alone              both steps are done; what follows them may be missing
// Neither file means that something else has deleted them, and the run cannot be finished.
void CommitWhatIsLeft(const StateFolder& state, const LibraryFailures& library) {
    const StateFiles& files = state.files;
    const std::string run = Quoted(state.File(StateFile::Run));
    const bool baseGone = IsGone(files.base);
    if (!IsGone(files.syncing)) {
        RequireWholeList(
            files.syncing,
            baseGone ? "restore it, or delete it and " + run + " to start over with every file new"
                     : "restore it, or delete " + run +
                           "; the next sync sends again what this run has sent");
        CommitListing(files, library);
    } else if (baseGone) {
        throw Failure(ExitCode::Damaged, "cannot finish the commit: " + Quoted(files.base) +
                                             " and " + Quoted(files.syncing) +
                                             " are both gone: restore one of them, or delete " +
                                             run + " to start over with every file new");
    }
}

}  // namespace

void CommitRun(const StateFolder& state, RunRecord* run, const LibraryFailures& library) {
    RequireWholeList(state.files.syncing, kSyncAgain);
    RequireDeletedList(state.files, kSyncAgain);
    AwaitUnheld(state.files);
    ThrowIfStopped();
    RunRecord committing = *run;
    committing.stage = RunStage::Committing;
    committing.summary.outcome = RunOutcome::Committed;
    SaveRun(state, committing);
    *run = std::move(committing);
    FinishCommit(state, *run, library);
}

// Every step may have been done before. The record of the run goes last: as long as it is there,
// the next sync or commit comes here again.
void FinishCommit(const StateFolder& state, const RunRecord& run, const LibraryFailures& library) {
    CommitWhatIsLeft(state, library);
    SaveSettings(state, run.settings);
    RemoveFile(state.files.deleted);
    RemoveFile(state.File(StateFile::Unsettled));
    RemoveFilesOfOneRun(state);
    SaveLast(state, run.summary);
    RemoveRun(state);
}

void DiscardRun(const StateFolder& state, std::optional<RunRecord> run,
                const LibraryFailures& library) {
    if (run && run->stage == RunStage::Committing) {
        throw Failure(ExitCode::Failed, "cannot discard the run " + run->summary.run +
                                            ": everything was sent and its commit has begun: "
                                            "finish it with fenwickel commit");
    }
    if (run && run->stage == RunStage::Pending) {
        // Killed from here on, it is not complete any more.
        run->stage = RunStage::Running;
        SaveRun(state, *run);
    }
    DiscardListings(state.files, library);
    RemoveFilesOfOneRun(state);
    RemoveRun(state);
}
