#include "SyncRun.h"

#include <chrono>
#include <cstdio>
#include <utility>

#include "DropRecords.h"
#include "LeftoverSnapshots.h"
#include "Plan.h"
#include "RunEnd.h"
#include "Unsettled.h"
#include "listing/Detection.h"
#include "listing/PendingRun.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "report/Patience.h"
#include "report/ShellText.h"
#include "report/Stop.h"

namespace {

// Tells a line of a run on standard error.
void Say(const std::string& text) {
    std::fprintf(stderr, "fenwickel sync: %s\n", text.c_str());
}

// Finishes or refuses what an earlier run has left. Returns a run that this one discards once its
// checks have let it begin.
std::optional<RunRecord> SettleEarlierRun(const SyncRequest& request,
                                          const LibraryFailures& library) {
    std::optional<RunRecord> run = LoadRun(request.state);
    if (run && run->stage == RunStage::Committing) {
        FinishCommit(request.state, *run, library);
        Say("finished the commit of the last run, which was interrupted");
        return {};
    }
    if (run && run->stage == RunStage::Pending && !request.options.replacePending) {
        const std::string state = ShellQuoted(request.options.state);
        throw Failure(ExitCode::Held, "the run " + run->summary.run +
                                          " is pending: end it with fenwickel commit --state " +
                                          state + " or fenwickel discard --state " + state +
                                          ", or replace it with --replace-pending");
    }
    return run;
}

KnownCounts CountKnown(const SyncRequest& request) {
    KnownCounts counts;
    counts.perFolder =
        CountBase(request.state.files.base, "sync",
                  "restore it, or delete it to start over with every file sent again");
    for (const std::uint64_t count : counts.perFolder) {
        counts.all += count;
    }
    counts.perFolder.resize(request.folders.size());
    return counts;
}

class SyncRun {
public:
    // earlier is the run to be discarded, if any.
    SyncRun(SyncRequest& request, std::optional<RunRecord> earlier, const LibraryFailures& library)
        : m_request(request),
          m_library(library),
          m_earlier(std::move(earlier)),
          m_start(std::chrono::steady_clock::now()),
          m_mayDiscard(!m_earlier) {
        Summary().run = NewRunId();
        Summary().started = TimestampNow();
        Summary().destination = request.options.destination;
    }

    RunSummary Execute();

private:
    RunSummary& Summary() { return m_record.summary; }
    std::uint64_t ElapsedMs() const;
    void Perform();
    void Prepare();
    void Begin();
    void DetectIn(const FolderSnapshot& snapshot);
    Plan PlanFor(const FolderSnapshot& snapshot);
    void CheckPlan(const Plan& plan);
    void RequireDestination(const Plan& plan);
    void HandOverAll(const Plan& plan);
    void LeavePending();
    void EndFailed(const Failure& failure);

    SyncRequest& m_request;
    const LibraryFailures& m_library;
    std::optional<RunRecord> m_earlier;
    const std::chrono::steady_clock::time_point m_start;
    RunRecord m_record;
    bool m_mayDiscard;  // no run.json of an earlier run is there
    KnownCounts m_known;
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
                      Quoted(m_request.state.File(StateFile::Settings)) +
                          " is missing, so it is not known what the base stands for: restore it, "
                          "or delete " +
                          Quoted(m_request.state.files.base) +
                          " to start over with every file new");
    }
    CheckFolders(inForce ? &*inForce : nullptr, now, m_known, m_request.brakes);
    RequireNoneNested(now, m_request);
}

void SyncRun::Begin() {
    DiscardRun(m_request.state, std::move(m_earlier), m_library);
    m_mayDiscard = true;
    SaveRun(m_request.state, m_record);
}

void SyncRun::DetectIn(const FolderSnapshot& snapshot) {
    DetectionInput input;
    input.forceAll = m_request.options.forceAll;
    input.ignored = m_request.ignored;
    for (std::size_t i = 0; i < m_request.folders.size(); ++i) {
        const WString& folder = snapshot.Folders()[i];
        input.pairs.push_back({m_request.folders[i], folder});
        std::vector<WString>& ignored = input.ignored[static_cast<std::int32_t>(i)];
        for (WString& name : SnapshotNamesIn(folder)) {
            ignored.push_back(std::move(name));
        }
    }
    Detect(m_request.state.files, std::move(input), m_library);
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

// An unsettled path is one that the destination may have, so it counts as known.
void SyncRun::CheckPlan(const Plan& plan) {
    for (std::size_t i = 0; i < plan.unsettled.size(); ++i) {
        m_known.perFolder[i] += plan.unsettled[i];
    }
    CheckCounts(m_record.settings, m_known, plan.foundPerFolder, plan.lost, Summary(),
                m_request.brakes);
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
    RunRecord pending = m_record;
    pending.stage = RunStage::Pending;
    pending.summary.outcome = RunOutcome::Pending;
    SaveRun(m_request.state, pending);
    m_record = std::move(pending);
}

void SyncRun::Perform() {
    Prepare();
    Begin();
    PendingRun pending(m_request.state.files);
    FolderSnapshot snapshot(m_request.mode, m_request.folders, m_library);
    Summary().snapshot = snapshot.Provider();
    Summary().note = snapshot.Note();
    DetectIn(snapshot);
    const Plan plan = PlanFor(snapshot);
    CheckPlan(plan);
    if (m_request.options.dryRun) {
        Summary().outcome = RunOutcome::DryRun;
        return;
    }
    if (m_request.HandsOver()) {
        RequireDestination(plan);
    }
    PutUnsettledInForce(m_request.state);
    if (m_request.HandsOver()) {
        HandOverAll(plan);
    }
    DropRecords(m_request.state, plan.dropped);
    Summary().elapsedMs = ElapsedMs();
    pending.Keep();
    if (m_request.HandsOver()) {
        CommitRun(m_request.state, &m_record, m_library);
    } else {
        LeavePending();
    }
    snapshot.Release();
}

// Takes back what a failed run has written, unless its commit had begun, and writes down how it
// failed, as far as that goes: the failure itself matters more. Wrong usage touches nothing.
void SyncRun::EndFailed(const Failure& failure) {
    if (failure.Exit() == ExitCode::Usage) {
        return;
    }
    try {
        if (m_mayDiscard && m_record.stage != RunStage::Committing) {
            DiscardRun(m_request.state, m_record, m_library);
        }
        RunSummary last = Summary();
        last.outcome = RunOutcome::Failed;
        last.elapsedMs = ElapsedMs();
        last.exitCode = failure.Exit();
        last.message = failure.what();
        SaveLast(m_request.state, last);
    } catch (const Failure& another) {
        Say(another.what());
    }
}

RunSummary SyncRun::Execute() {
    try {
        Perform();
    } catch (const Failure& failure) {
        EndFailed(failure);
        throw;
    }
    if (m_request.options.dryRun) {
        DiscardRun(m_request.state, m_record, m_library);
    }
    Summary().elapsedMs = ElapsedMs();
    return Summary();
}

}  // namespace

std::unique_ptr<StateLock> LockState(const SyncRequest& request) {
    const Patience patience(std::chrono::seconds(request.options.lockWait));
    for (;;) {
        try {
            return std::make_unique<StateLock>(request.state.files);
        } catch (const Failure& failure) {
            ThrowIfStopped();
            if (failure.Exit() != ExitCode::Held || !patience.Nap()) {
                throw;
            }
        }
    }
}

RunSummary Synchronise(SyncRequest& request, const StateLock& lock,
                       const LibraryFailures& library) {
    request.uploader->Share(lock.File());
    std::optional<RunRecord> earlier = SettleEarlierRun(request, library);
    RemoveLeftoverSnapshots(request.folders);
    return SyncRun(request, std::move(earlier), library).Execute();
}
