#include "CommitSteps.h"

#include "RecordReader.h"
#include "platform/OwnedHandle.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Json.h"
#include "report/Output.h"
#include "report/Patience.h"
#include "system/StopSignals.h"

namespace {

void RequireFileUnheld(const WString& path) {
    const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                       nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const DWORD code = file ? ERROR_SUCCESS : GetLastError();
    if (code == ERROR_SHARING_VIOLATION) {
        throw SystemFailure(ExitCode::Held, "commit", path, code,
                            "wait until the other program has ended");
    }
}

// A program may open a listing after RequireUnheld has looked, at worst between the deletion of
// the base and the renaming. A commit that is repeated goes on where it was, so it waits for the
// reader instead of leaving the state like that.
int TakeEffect(const StateFiles& state) {
    stSyncFileDbContext context = DatabaseContext(state);
    CSyncFileDatabase database;
    database.SetDBContext(context);
    const Patience patience(kFilePatience);
    int code = database.TakeEffectNewSyncDB();
    while (code == static_cast<int>(ERROR_SHARING_VIOLATION) && HostStopExitCode() == 0 &&
           patience.Nap()) {
        code = database.TakeEffectNewSyncDB();
    }
    return code;
}

}  // namespace

std::uint64_t RequireWholeList(const WString& list, const std::string& remedy) {
    RecordReader reader(list);
    const auto damage = reader.Check();
    if (damage || reader.FileSize() == 0) {
        throw Failure(ExitCode::Failed, "cannot commit: " + Quoted(list) + " is " +
                                            (damage ? damage->Text() : std::string("empty")) +
                                            ": " + remedy);
    }
    return reader.RecordCount();
}

void RequireDeletedList(const StateFiles& state, const std::string& remedy) {
    if (IsGone(state.base)) {
        return;
    }
    if (IsGone(state.deleted)) {
        throw Failure(ExitCode::Failed, "cannot commit: the list of deleted files " +
                                            Quoted(state.deleted) +
                                            " is missing, so the run did not end: " + remedy);
    }
    RequireWholeList(state.deleted, remedy);
}

void RequireUnheld(const StateFiles& state) {
    RequireFileUnheld(state.syncing);
    RequireFileUnheld(state.base);
}

void CommitListing(const StateFiles& state, const LibraryFailures& library) {
    const int code = TakeEffect(state);
    if (code == 0 && IsGone(state.syncing)) {
        return;
    }
    if (code == 0) {
        throw Failure(ExitCode::Failed, "cannot commit " + Quoted(state.syncing) +
                                            ": it could not be looked up: make its folder "
                                            "readable and commit again");
    }
    const bool baseGone = IsGone(state.base);
    const bool held = code == static_cast<int>(ERROR_SHARING_VIOLATION) && !baseGone;
    throw library.FailureOf(
        held ? ExitCode::Held : ExitCode::Failed, code, "cannot commit " + Quoted(state.syncing),
        baseGone ? "the base is gone, the new listing is whole: remove the cause and "
                   "commit again"
                 : "remove the cause and commit again; the base is unchanged");
}

void DiscardListings(const StateFiles& state, const LibraryFailures& library) {
    stSyncFileDbContext context = DatabaseContext(state);
    CSyncFileDatabase database;
    database.SetDBContext(context);
    const int code = database.RemoveChangedDB();
    if (code == 0 && IsGone(state.syncing) && IsGone(state.deleted)) {
        return;
    }
    if (code == 0) {
        throw Failure(ExitCode::Failed,
                      "cannot discard the run: " +
                          Quoted(IsGone(state.syncing) ? state.deleted : state.syncing) +
                          " could not be looked up: make its folder readable "
                          "and discard again");
    }
    throw library.FailureOf(
        code == static_cast<int>(ERROR_SHARING_VIOLATION) ? ExitCode::Held : ExitCode::Failed, code,
        "cannot discard the run", "remove the cause and discard again");
}

void PrintCommitted(const std::string& text, bool json) {
    try {
        if (json) {
            PrintJsonResult(0, "", {});
        } else {
            PrintWhole(text);
        }
    } catch (const Failure& failure) {
        throw Failure(
            ExitCode::Failed,
            std::string("committed, but the result could not be printed: ") + failure.what());
    }
}
