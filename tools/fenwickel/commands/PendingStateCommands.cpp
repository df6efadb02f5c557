#include "PendingStateCommands.h"

#include "listing/CommitSteps.h"
#include "listing/RecordFileCheck.h"
#include "log/LibraryLog.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "report/ShellText.h"
#include "sync/RunEnd.h"
#include "system/StopSignals.h"

namespace {

// The run that is not ended. Throws Failure (NothingPending) when there is none, or when --run
// names another one.
RunRecord RequireRun(const StateFolder& state, const PendingOptions& options) {
    const std::optional<RunRecord> run = LoadRun(state);
    if (!run) {
        throw Failure(ExitCode::NothingPending,
                      "nothing pending in " + Quoted(state.path) + ": every run there has ended");
    }
    if (!options.run.empty() && options.run != run->summary.run) {
        throw Failure(ExitCode::NothingPending,
                      "the run \"" + Escaped(options.run) + "\" is not pending, the run " +
                          Escaped(run->summary.run) + " is: see fenwickel status --state " +
                          ShellQuoted(options.stateFolder));
    }
    return *run;
}

// The state folder of the options, which has a run that is not ended.
StateFolder PendingState(const PendingOptions& options) {
    StateFolder state = ResolveStateFolder(options.stateFolder);
    RequireStateFolder(state);
    RequireRun(state, options);
    return state;
}

void Commit(const StateFolder& state, RunRecord run, const LibraryFailures& library) {
    switch (run.stage) {
        case RunStage::Running:
            throw Failure(ExitCode::NothingPending, "nothing pending: the run " + run.summary.run +
                                                        " was cut short: run fenwickel sync again");
        case RunStage::Pending:
            RequireRecordFiles(state.files, true);
            CommitRun(state, &run, library);
            break;
        case RunStage::Committing:
            FinishCommit(state, run, library);
            break;
    }
}

std::string CountsText(const RunSummary& summary) {
    return std::to_string(summary.fresh) + " new, " + std::to_string(summary.changed) +
           " changed, " + std::to_string(summary.deleted) + " deleted";
}

}  // namespace

int CommitStateFolder(const PendingOptions& options) {
    const StateFolder state = PendingState(options);
    HostCatchStopSignals();
    const LibraryLog library(state.path);
    const StateLock lock(state.files);
    const RunRecord run = RequireRun(state, options);
    Commit(state, run, library);
    PrintCommitted("committed: the run " + run.summary.run + " (" + CountsText(run.summary) + ")\n",
                   options.json);
    return ExitCode::Done;
}

int DiscardStateFolder(const PendingOptions& options) {
    const StateFolder state = PendingState(options);
    const LibraryLog library(state.path);
    const StateLock lock(state.files);
    const RunRecord run = RequireRun(state, options);
    RequireRecordFiles(state.files, false);
    RunSummary last = run.summary;
    last.outcome = RunOutcome::Discarded;
    SaveLast(state, last);  // first: without the record of the run this command cannot be repeated
    DiscardRun(state, run, library);
    if (options.json) {
        PrintJsonResult(0, "", {});
    } else {
        PrintWhole("discarded: the run " + last.run +
                   (IsGone(state.File(StateFile::Unsettled))
                        ? "\n"
                        : "; the next sync settles what the destination may have got of it\n"));
    }
    return ExitCode::Done;
}

std::string EndCommands(const std::string& state, const std::string& run) {
    const std::string options = " --state " + ShellQuoted(state) + " --run " + run + "\n";
    return "commit with:  fenwickel commit" + options + "discard with: fenwickel discard" + options;
}
