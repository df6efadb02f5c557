// fenwickel sync: from the snapshot to a committed copy.
#include <chrono>
#include <cstdio>
#include <thread>

#include "Commands.h"
#include "PendingStateCommands.h"
#include "listing/Detection.h"
#include "listing/PendingRun.h"
#include "listing/RecordFileCheck.h"
#include "log/LibraryLog.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "report/ShellText.h"
#include "report/Stop.h"
#include "sync/Plan.h"
#include "sync/RunEnd.h"
#include "sync/SyncRequest.h"
#include "system/StopSignals.h"

namespace {

constexpr const WCHAR* kSnapshotTag = WIDE(".fenwickel-snapshot-");

// Tells a line of a run on standard error.
void Say(const std::string& text) {
    std::fprintf(stderr, "fenwickel sync: %s\n", text.c_str());
}

// Waits for another run on the state as long as the user allows.
std::unique_ptr<StateLock> TakeLock(const SyncRequest& request) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(request.options.lockWait);
    for (;;) {
        try {
            return std::make_unique<StateLock>(request.state.files);
        } catch (const Failure& failure) {
            ThrowIfStopped();
            if (failure.Exit() != ExitCode::Held || Clock::now() >= end) {
                throw;
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

// What an earlier run has left is finished or refused. What is to be discarded stays until this run
// is sure to begin.
void SettleEarlierRun(const SyncRequest& request, const LibraryLog& log) {
    if (FinishInterrupted(request.state, log)) {
        Say("finished the commit of the last run, which was interrupted");
        return;
    }
    const auto run = LoadRun(request.state);
    if (run && run->stage == RunStage::Pending && !request.options.replacePending) {
        const std::string state = ShellQuoted(request.options.state);
        throw Failure(ExitCode::Held, "the run " + run->summary.run +
                                          " is pending: end it with fenwickel commit --state " +
                                          state + " or fenwickel discard --state " + state +
                                          ", or replace it with --replace-pending");
    }
}

ListingCounts CountKnown(const SyncRequest& request) {
    ListingCounts counts;
    counts.perFolder =
        CountBase(request.state.files.base, "sync",
                  "restore it, or delete it to start over with every file sent again");
    for (const std::uint64_t count : counts.perFolder) {
        counts.all += count;
    }
    counts.perFolder.resize(request.folders.size());
    return counts;
}

// Snapshots of this program lie in the root folder of a volume. One that another run holds, or that
// a killed run has left, is no content.
void IgnoreSnapshots(const WString& folder, std::vector<WString>* ignored) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW((folder + WIDE("*.*")).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        return;  // the walk will tell
    }
    do {
        const WString name = entry.cFileName;
        if (name.starts_with(kSnapshotTag)) {
            ignored->push_back(name);
        }
    } while (FindNextFileW(search, &entry));
    FindClose(search);
}

// One run, from the snapshot to its end.
class SyncRun {
public:
    SyncRun(SyncRequest& request, const LibraryLog& log)
        : m_request(request), m_log(log), m_start(std::chrono::steady_clock::now()) {
        Summary().run = NewRunId();
        Summary().started = TimestampNow();
        Summary().destination = request.options.destination;
    }

    // Throws Failure, without the snapshot, and then without what the run has written unless the
    // commit had begun.
    void Execute();

    const RunSummary& Ended() {
        Summary().elapsedMs = ElapsedMs();
        return Summary();
    }

private:
    RunSummary& Summary() { return m_record.summary; }
    std::uint64_t ElapsedMs() const;
    void Prepare();
    void DetectIn(const FolderSnapshot& snapshot);
    Plan PlanFor(const FolderSnapshot& snapshot);
    void RequireDestination(const Plan& plan);
    void HandOverAll(const Plan& plan);
    void LeavePending();

    SyncRequest& m_request;
    const LibraryLog& m_log;
    const std::chrono::steady_clock::time_point m_start;
    RunRecord m_record;
    ListingCounts m_known;
};

std::uint64_t SyncRun::ElapsedMs() const {
    const auto elapsed = std::chrono::steady_clock::now() - m_start;
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
}

// Refuses what must not be run at all.
void SyncRun::Prepare() {
    StateSettings& now = m_record.settings;
    now = Survey(m_request);
    const auto inForce = LoadSettings(m_request.state);
    if (inForce) {
        RequireSameState(*inForce, now, m_request);
    }
    // A run that is sent by hand does not change where the copy is.
    if (!m_request.HandsOver()) {
        now.destination = inForce ? inForce->destination : "";
    }
    m_known = CountKnown(m_request);
    if (!inForce && m_known.all != 0) {
        throw Failure(ExitCode::Damaged,
                      Quoted(m_request.state.File(kSettingsFile)) +
                          " is missing, so it is not known what the base stands for: restore it, "
                          "or delete " +
                          Quoted(m_request.state.files.base) +
                          " to start over with every file new");
    }
    CheckFolders(inForce ? &*inForce : nullptr, now, m_known, m_request.brakes);
    RequireNoneNested(now, m_request);
}

void SyncRun::DetectIn(const FolderSnapshot& snapshot) {
    DetectionInput input;
    input.forceAll = m_request.options.forceAll;
    input.ignored = m_request.ignored;
    for (std::size_t i = 0; i < m_request.folders.size(); ++i) {
        input.pairs.push_back({m_request.folders[i], snapshot.Folders()[i]});
        IgnoreSnapshots(snapshot.Folders()[i], &input.ignored[static_cast<std::int32_t>(i)]);
    }
    Detect(m_request.state.files, std::move(input), m_log);
}

Plan SyncRun::PlanFor(const FolderSnapshot& snapshot) {
    PlanInput input{m_request.state,     m_record.settings, snapshot.Folders(),
                    *m_request.uploader, snapshot.Begun(),  {}};
    const bool isDryRun = m_request.options.dryRun;
    const bool printsLines = isDryRun && !m_request.options.json;
    input.tell = [&](const char* what, const WString& path, const std::string& why) {
        if (!why.empty()) {
            Say(std::string(what) + ": " + Quoted(path) + ": " + why);
        } else if (printsLines) {
            PrintWhole(std::string("would ") + what + ' ' + Quoted(path) + '\n');
        }
    };
    return MakePlan(input, &Summary());
}

// An empty destination behind a listing that is not empty is one that is not mounted, or another
// one: what did not change would be missing there for good.
void SyncRun::RequireDestination(const Plan& plan) {
    if (Summary().unchanged > 0 && !plan.IsEmpty() && !m_request.options.forceAll &&
        m_request.uploader->IsDestinationEmpty()) {
        throw Failure(ExitCode::Stopped,
                      "the destination \"" + Escaped(m_request.options.destination) +
                          "\" is empty, but should hold " + std::to_string(Summary().unchanged) +
                          " unchanged files: see whether it is mounted, or send everything with "
                          "--force-all");
    }
}

void SyncRun::HandOverAll(const Plan& plan) {
    for (const HandOver& folder : plan.folders) {
        m_request.uploader->Remove(folder);
        Summary().removed += folder.removalCount;
        ThrowIfStopped();
    }
    for (const HandOver& folder : plan.folders) {
        m_request.uploader->Send(folder);
        Summary().sent += folder.sendCount;
        ThrowIfStopped();
    }
}

void SyncRun::LeavePending() {
    m_record.stage = RunStage::Pending;
    Summary().outcome = "pending";
    SaveRun(m_request.state, m_record);
}

void SyncRun::Execute() {
    Prepare();
    DiscardRun(m_request.state, m_log);  // of an earlier run
    SaveRun(m_request.state, m_record);
    PendingRun pending(m_request.state.files);
    FolderSnapshot snapshot(m_request.mode, m_request.folders, m_log);
    Summary().snapshot = snapshot.Provider();
    Summary().note = snapshot.Note();
    DetectIn(snapshot);
    const Plan plan = PlanFor(snapshot);
    for (std::size_t i = 0; i < plan.unsettled.size(); ++i) {
        m_known.perFolder[i] += plan.unsettled[i];
    }
    CheckCounts(m_record.settings, m_known, plan.found, plan.lost, Summary(), m_request.brakes);
    if (m_request.options.dryRun) {
        Summary().outcome = "dry run";
        return;
    }
    if (m_request.HandsOver()) {
        RequireDestination(plan);
    }
    // From here on somebody may send what the lists name.
    PutUnsettledInForce(m_request.state);
    if (m_request.HandsOver()) {
        HandOverAll(plan);
    }
    DropRecords(m_request.state, plan.dropped);
    Summary().elapsedMs = ElapsedMs();
    pending.Keep();
    if (m_request.HandsOver()) {
        Summary().outcome = "committed";
        CommitRun(m_request.state, m_record, m_log);
    } else {
        LeavePending();
    }
    snapshot.Release();
}

std::string NextCommands(const SyncRequest& request, const RunSummary& summary) {
    std::string text = "\n";
    for (std::size_t i = 0; i < request.folders.size(); ++i) {
        text += "of " + Quoted(request.folders[i]) + ", each path with a zero byte at its end:\n" +
                "  to remove:  " + Quoted(request.state.File(RemovalListName(i).c_str())) + "\n" +
                "  to send:    " + Quoted(request.state.File(SendListName(i).c_str())) + "\n";
    }
    return text + EndCommands(request.options.state, summary.run);
}

// The run has ended well, whatever becomes of its summary.
void Print(const SyncRequest& request, const RunSummary& summary) {
    try {
        if (request.options.json) {
            PrintJsonResult(0, "", Fields(summary));
        } else {
            PrintWhole(Table(summary) +
                       (summary.outcome == "pending" ? NextCommands(request, summary) : ""));
        }
    } catch (const Failure& failure) {
        throw Failure(
            ExitCode::Failed,
            summary.outcome + ", but the summary could not be printed: " + failure.what());
    }
}

// Takes back what a failed run has written, unless its commit had begun, and writes down how it
// failed, as far as that goes: the failure itself matters more. Wrong usage touches nothing.
void EndFailed(const SyncRequest& request, RunSummary summary, const Failure& failure,
               const LibraryLog& log) {
    if (failure.Exit() == ExitCode::Usage) {
        return;
    }
    try {
        const auto run = LoadRun(request.state);
        const bool isOwn = !run || run->summary.run == summary.run;  // not one from before
        if (isOwn && (!run || run->stage != RunStage::Committing)) {
            DiscardRun(request.state, log);
        }
        summary.outcome = "failed";
        summary.exitCode = failure.Exit();
        summary.message = failure.what();
        SaveLast(request.state, summary);
    } catch (const Failure& another) {
        Say(another.what());
    }
}

int Run(SyncRequest& request) {
    CreateStateFolder(request.state);
    const LibraryLog log(request.state.path);
    const auto lock = TakeLock(request);
    request.uploader->Share(lock->File());
    SettleEarlierRun(request, log);
    RemoveLeftoverSnapshots(request.folders);
    SyncRun run(request, log);
    try {
        run.Execute();
    } catch (const Failure& failure) {
        EndFailed(request, run.Ended(), failure, log);
        throw;
    }
    const RunSummary& summary = run.Ended();
    if (summary.outcome == "dry run") {
        DiscardRun(request.state, log);
    }
    Print(request, summary);
    // What cannot be carried is new in every run.
    const bool hasChanges =
        summary.fresh + summary.changed + summary.deleted > summary.notCarried ||
        summary.removed > 0;
    return request.options.exitCode && hasChanges ? ExitCode::ChangesExist : ExitCode::Done;
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
    return Run(request);
}
