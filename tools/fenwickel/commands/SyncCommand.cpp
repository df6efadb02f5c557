// fenwickel sync: from the snapshot to a committed copy.
#include "Commands.h"
#include "Options.h"
#include "PendingStateCommands.h"
#include "listing/RecordFileCheck.h"
#include "log/LibraryLog.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "sync/SyncRun.h"
#include "system/StopSignals.h"

namespace {

std::string NextCommands(const SyncRequest& request, const RunSummary& summary) {
    std::string text = "\n";
    for (std::size_t i = 0; i < request.folders.size(); ++i) {
        text += "of " + Quoted(request.folders[i]) + ", each path with a zero byte at its end:\n" +
                "  to remove:  " + Quoted(request.state.File(StateFile::Removals, i)) + "\n" +
                "  to send:    " + Quoted(request.state.File(StateFile::Sends, i)) + "\n";
    }
    return text + EndCommands(request.options.state, summary.run);
}

// The run has ended well, also when its summary cannot be printed.
void Print(const SyncRequest& request, const RunSummary& summary) {
    try {
        if (request.options.json) {
            PrintJsonResult(0, "", Fields(summary));
        } else {
            PrintWhole(Table(summary) + (summary.outcome == RunOutcome::Pending
                                             ? NextCommands(request, summary)
                                             : ""));
        }
    } catch (const Failure& failure) {
        throw Failure(ExitCode::Failed,
                      std::string(OutcomeName(summary.outcome)) +
                          ", but the summary could not be printed: " + failure.what());
    }
}

// What cannot be carried is new in every run.
bool HasChanges(const RunSummary& summary) {
    return summary.fresh + summary.changed + summary.deleted > summary.notCarried ||
           summary.removed > 0;
}

}  // namespace

JsonFields EmptySyncResult() {
    return Fields(RunSummary());
}

int RunSync(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<SyncOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    SyncRequest request = UnderstandSync(*options);
    RequireRecordFiles(request.state.files, false);
    HostCatchStopSignals();
    CreateStateFolder(request.state);
    const LibraryLog library(request.state.path);
    const auto lock = LockState(request);
    const RunSummary summary = Synchronise(request, *lock, library);
    Print(request, summary);
    return options->exitCode && HasChanges(summary) ? ExitCode::ChangesExist : ExitCode::Done;
}
