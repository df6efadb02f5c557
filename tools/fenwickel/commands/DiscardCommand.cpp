// fenwickel discard: deletes the listings of the last detect.
#include "Commands.h"
#include "Options.h"
#include "PendingStateCommands.h"
#include "listing/CommitSteps.h"
#include "listing/RecordFileCheck.h"
#include "listing/StateFiles.h"
#include "log/LibraryLog.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"

namespace {

void RequireSomethingToDiscard(const StateFiles& state) {
    if (IsGone(state.syncing) && IsGone(state.deleted)) {
        throw Failure(ExitCode::NothingPending,
                      "nothing pending: neither " + Quoted(state.syncing) + " nor " +
                          Quoted(state.deleted) + " exists: there is nothing to discard");
    }
}

}  // namespace

int RunDiscard(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<PendingOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    if (!options->stateFolder.empty()) {
        return DiscardStateFolder(*options);
    }
    const StateFiles state = ResolveState(options->state);
    RequireSomethingToDiscard(state);
    RequireRecordFiles(state, false);

    const LibraryLog log;
    const StateLock lock(state);
    RequireSomethingToDiscard(state);
    DiscardListings(state, log);
    // A commit that was interrupted has deleted the base already.
    const bool baseGone = IsGone(state.base);
    const std::string noBase =
        "there is no base " + Quoted(state.base) + " any more: every file is new from now on";
    if (options->json) {
        PrintJsonResult(0, baseGone ? noBase : "", {});
        return ExitCode::Done;
    }
    PrintWhole("discarded: " +
               (baseGone ? noBase : "the base " + Quoted(state.base) + " is as it was") + "\n");
    return ExitCode::Done;
}
