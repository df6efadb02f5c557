// fenwickel discard: deletes the listings of the last detect.
#include "Commands.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "LibraryLog.h"
#include "Options.h"
#include "Output.h"
#include "StateFiles.h"
#include "platform/Platform.h"

namespace {

void RequirePending(const StateFiles& state) {
    if (IsGone(state.syncing) && IsGone(state.deleted)) {
        throw Failure(ExitCode::NothingPending,
                      "nothing pending: neither " + Quoted(state.syncing) + " nor " +
                          Quoted(state.deleted) + " exists: there is nothing to discard");
    }
}

void Discard(const StateFiles& state, const LibraryLog& log) {
    stSyncFileDbContext context = DatabaseContext(state);
    CSyncFileDatabase database;
    database.SetDBContext(context);
    const int code = database.RemoveChangedDB();
    if (code == 0 && IsGone(state.syncing) && IsGone(state.deleted)) {
        return;
    }
    if (code == 0) {
        throw Failure(ExitCode::Failed, "cannot discard the run: " + Quoted(state.syncing) +
                                            " could not be looked up: make its folder readable "
                                            "and discard again");
    }
    const std::string words = log.LastFailure();
    throw Failure(
        code == static_cast<int>(ERROR_SHARING_VIOLATION) ? ExitCode::Held : ExitCode::Failed, code,
        "cannot discard the run: " + (words.empty() ? "" : words + ": ") + Reason(code) +
            ": put that right and discard again");
}

}  // namespace

int RunDiscard(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<PendingOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const StateFiles state = ResolveState(options->state);
    RequirePending(state);

    const LibraryLog log;
    const StateLock lock(state);
    RequirePending(state);
    Discard(state, log);
    if (options->json) {
        PrintJsonResult(0, "", {});
        return ExitCode::Done;
    }
    PrintWhole("discarded: the base " + Quoted(state.base) + " is as it was\n");
    return ExitCode::Done;
}
