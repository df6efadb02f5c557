// fenwickel commit: the listing of the last detect becomes the base of the next.
#include <chrono>
#include <thread>

#include "Commands.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "LibraryLog.h"
#include "Options.h"
#include "Output.h"
#include "RecordFileCheck.h"
#include "RecordReader.h"
#include "StateFiles.h"
#include "Stop.h"
#include "platform/Platform.h"

namespace {

// How long a commit waits for readers of the two listings.
constexpr std::chrono::seconds kPatience{10};
constexpr std::chrono::milliseconds kNap{10};

void RequirePending(const StateFiles& state) {
    if (IsGone(state.syncing)) {
        throw Failure(ExitCode::NothingPending, "nothing pending: " + Quoted(state.syncing) +
                                                    " does not exist: run fenwickel detect first");
    }
}

// Number of records in the list. Throws Failure when it is not complete.
std::uint64_t CheckedList(const WString& list) {
    RecordReader reader(list);
    const auto damage = reader.Check();
    if (damage || reader.FileSize() == 0) {
        throw Failure(ExitCode::Failed, "cannot commit: " + Quoted(list) + " is " +
                                            (damage ? damage->Text() : std::string("empty")) +
                                            ": discard the run and run fenwickel detect again");
    }
    return reader.RecordCount();
}

// A run that was killed may leave a whole listing without the files that are gone; committed, they
// would never be told to anybody. A commit that was interrupted is past that question.
void RequireDeletedList(const StateFiles& state) {
    if (IsGone(state.base)) {
        return;
    }
    if (IsGone(state.deleted)) {
        throw Failure(ExitCode::Failed, "cannot commit: the list of deleted files " +
                                            Quoted(state.deleted) +
                                            " is missing, so the run did not end: run fenwickel "
                                            "detect again");
    }
    CheckedList(state.deleted);
}

// The commit cannot be undone half-way, so ask before it starts whether both files are free.
void RequireUnheld(const WString& path) {
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
        CloseHandle(file);
    } else if (const DWORD code = GetLastError(); code == ERROR_SHARING_VIOLATION) {
        throw SystemFailure(ExitCode::Held, "commit", path, code,
                            "wait until the other program has ended");
    }
}

// Somebody who reads a listing may come after the question above, at worst between the deletion of
// the base and the renaming. A commit that is repeated goes on where it was, so it waits for the
// reader instead of leaving the state like that.
int TakeEffect(const StateFiles& state) {
    stSyncFileDbContext context = DatabaseContext(state);
    CSyncFileDatabase database;
    database.SetDBContext(context);
    const auto end = std::chrono::steady_clock::now() + kPatience;
    int code = database.TakeEffectNewSyncDB();
    while (code == static_cast<int>(ERROR_SHARING_VIOLATION) && HostStopExitCode() == 0 &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kNap);
        code = database.TakeEffectNewSyncDB();
    }
    return code;
}

void Commit(const StateFiles& state, const LibraryLog& log) {
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
    throw log.FailureOf(held ? ExitCode::Held : ExitCode::Failed, code,
                        "cannot commit " + Quoted(state.syncing),
                        baseGone ? "the base is gone, the new listing is whole: put that right and "
                                   "commit again"
                                 : "put that right and commit again; the base is unchanged");
}

void PrintText(const StateFiles& state, std::uint64_t records) {
    Output output;
    output.Print("committed: " + Quoted(state.base) + " now lists " + std::to_string(records) +
                 " files\n");
    if (PathFileExistsW(state.deleted.c_str())) {
        output.Print("the list of deleted files stays in " + Quoted(state.deleted) +
                     " until the next detect\n");
    }
    output.Flush();
}

void PrintDone(const StateFiles& state, std::uint64_t records, bool json) {
    try {
        if (json) {
            PrintJsonResult(0, "", {});
        } else {
            PrintText(state, records);
        }
    } catch (const Failure& failure) {
        throw Failure(
            ExitCode::Failed,
            std::string("committed, but the result could not be printed: ") + failure.what());
    }
}

}  // namespace

int RunCommit(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<PendingOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    const StateFiles state = ResolveState(options->state);
    RequirePending(state);
    RequireRecordFiles(state, true);
    RequireOneFileSystem(state);

    HostCatchStopSignals();
    const LibraryLog log;
    const StateLock lock(state);
    RequirePending(state);
    const std::uint64_t records = CheckedList(state.syncing);
    RequireDeletedList(state);
    RequireUnheld(state.syncing);
    RequireUnheld(state.base);
    ThrowIfStopped();
    Commit(state, log);
    PrintDone(state, records, options->json);
    return ExitCode::Done;
}
