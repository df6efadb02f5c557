// fenwickel commit: the listing of the last detect becomes the base of the next.
#include "Commands.h"
#include "Options.h"
#include "PendingStateCommands.h"
#include "listing/CommitSteps.h"
#include "listing/RecordFileCheck.h"
#include "listing/StateFiles.h"
#include "log/LibraryLog.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "report/Stop.h"
#include "system/StopSignals.h"

namespace {

const char* const kDetectAgain = "run fenwickel detect again";

void RequireSomethingToCommit(const StateFiles& state) {
    if (IsGone(state.syncing)) {
        throw Failure(ExitCode::NothingPending, "nothing pending: " + Quoted(state.syncing) +
                                                    " does not exist: run fenwickel detect first");
    }
}

std::string DoneText(const StateFiles& state, std::uint64_t records) {
    std::string text =
        "committed: " + Quoted(state.base) + " now lists " + std::to_string(records) + " files\n";
    if (PathFileExistsW(state.deleted.c_str())) {
        text += "the list of deleted files stays in " + Quoted(state.deleted) +
                " until the next detect\n";
    }
    return text;
}

}  // namespace

int RunCommit(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<PendingOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    if (!options->stateFolder.empty()) {
        return CommitStateFolder(*options);
    }
    const StateFiles state = ResolveState(options->state);
    RequireSomethingToCommit(state);
    RequireRecordFiles(state, true);
    RequireOneFileSystem(state);

    HostCatchStopSignals();
    const LibraryLog log;
    const StateLock lock(state);
    RequireSomethingToCommit(state);
    const std::uint64_t records =
        RequireWholeList(state.syncing, std::string("discard the run and ") + kDetectAgain);
    RequireDeletedList(state, kDetectAgain);
    RequireUnheld(state);
    ThrowIfStopped();
    CommitListing(state, log);
    PrintCommitted(DoneText(state, records), options->json);
    return ExitCode::Done;
}
