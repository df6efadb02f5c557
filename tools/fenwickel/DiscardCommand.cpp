// fenwickel discard: deletes the listings of the last detect.
#include "Commands.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "LibraryLog.h"
#include "Output.h"
#include "StateFiles.h"
#include "platform/Platform.h"

namespace {

void RequirePending(const StateFiles& state) {
    if (!PathFileExistsW(state.syncing.c_str()) && !PathFileExistsW(state.deleted.c_str())) {
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
    if (code == 0) {
        return;
    }
    const std::string words = log.LastFailure();
    throw Failure(
        code == static_cast<int>(ERROR_SHARING_VIOLATION) ? ExitCode::Held : ExitCode::Failed, code,
        "cannot discard the run: " + (words.empty() ? "" : words + ": ") + Reason(code) +
            ": put that right and discard again");
}

}  // namespace

int RunDiscard(CLI::App& app, std::vector<std::string> arguments) {
    StateArguments stateArguments;
    bool json = false;
    AddStateOptions(app, stateArguments);
    app.add_flag("--json", json, "Print one JSON object");
    if (!ParseArguments(app, std::move(arguments))) {
        return ExitCode::Done;
    }
    const StateFiles state = ResolveState(stateArguments);
    RequirePending(state);

    const LibraryLog log;
    const StateLock lock(state);
    RequirePending(state);
    Discard(state, log);
    if (json) {
        PrintJsonResult(0, "", nlohmann::ordered_json::object());
        return ExitCode::Done;
    }
    Output output;
    output.Print("discarded: the base " + Quoted(state.base) + " is as it was\n");
    output.Flush();
    return ExitCode::Done;
}
