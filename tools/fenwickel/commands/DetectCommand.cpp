// fenwickel detect: one change detection, without a commit.
#include <chrono>
#include <cstdio>

#include "Commands.h"
#include "Options.h"
#include "listing/Detection.h"
#include "listing/PathPairs.h"
#include "listing/PendingRun.h"
#include "listing/RecordFileCheck.h"
#include "listing/RecordReader.h"
#include "log/LibraryLog.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Output.h"
#include "report/ShellText.h"
#include "system/StopSignals.h"

namespace {

struct Summary {
    RecordCounts counts;
    std::uint64_t elapsedMs = 0;

    std::uint64_t Found() const { return counts.fresh + counts.changed + counts.unchanged; }
    bool HasChanges() const { return counts.fresh + counts.changed + counts.deleted > 0; }
    std::uint64_t FilesPerSecond() const {
        return elapsedMs == 0 ? Found() * 1000 : Found() * 1000 / elapsedMs;
    }
};

// A commit deletes the base, then renames the new listing onto it. Between the two the new listing
// is all there is: discarding it as a leftover would forget every file that is known.
void RequireNoHalfCommit(const StateFiles& state) {
    if (!IsGone(state.base) || IsGone(state.syncing)) {
        return;
    }
    RecordReader reader(state.syncing);
    if (!reader.Check() && reader.FileSize() != 0) {
        throw Failure(ExitCode::Failed,
                      Quoted(state.base) + " is gone and " + Quoted(state.syncing) +
                          " is whole: if a commit was interrupted, finish it with fenwickel "
                          "commit; if you deleted the first, start over with fenwickel discard");
    }
}

Summary Run(const StateFiles& state, DetectionInput input, const LibraryLog& log) {
    const auto start = std::chrono::steady_clock::now();
    Detect(state, std::move(input), log);
    Summary summary;
    summary.counts = RecordReader(state.syncing).Count();
    summary.counts.deleted = RecordReader(state.deleted).Count().deleted;
    summary.elapsedMs =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                       std::chrono::steady_clock::now() - start)
                                       .count());
    return summary;
}

std::string Row(const char* name, std::uint64_t value, const char* unit = "") {
    char line[64];
    std::snprintf(line, sizeof line, "%-10s %14llu%s\n", name,
                  static_cast<unsigned long long>(value), unit);
    return line;
}

std::string Table(const Summary& summary) {
    return "status              files\n" + Row("new", summary.counts.fresh) +
           Row("changed", summary.counts.changed) + Row("unchanged", summary.counts.unchanged) +
           Row("deleted", summary.counts.deleted) + Row("found", summary.Found()) +
           Row("elapsed", summary.elapsedMs, " ms") +
           Row("speed", summary.FilesPerSecond(), " files/s");
}

std::string NextCommands(const StateArguments& state) {
    const std::string options = StateOptionsText(state);
    return "\nlist with:    fenwickel dump --status new,changed " + ShellQuoted(state.syncing) +
           "\n              fenwickel dump " + ShellQuoted(state.deleted) +
           "\ncommit with:  fenwickel commit " + options + "\ndiscard with: fenwickel discard " +
           options + "\n";
}

JsonFields Fields(const Summary& summary) {
    return {
        {"new", summary.counts.fresh},           {"changed", summary.counts.changed},
        {"unchanged", summary.counts.unchanged}, {"deleted", summary.counts.deleted},
        {"elapsed_ms", summary.elapsedMs},       {"files_per_second", summary.FilesPerSecond()}};
}

void PrintSummary(const DetectOptions& options, const Summary& summary) {
    if (options.json) {
        PrintJsonResult(0, "", Fields(summary));
    } else {
        PrintWhole(Table(summary) + NextCommands(options.state));
    }
}

}  // namespace

JsonFields EmptyDetectResult() {
    return Fields(Summary());
}

int RunDetect(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<DetectOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    DetectionInput input;
    input.pairs = ParsePairs(options->pairs);
    input.ignored = ParseIgnores(options->ignores, input.pairs.size());
    input.forceAll = options->forceAll;
    const StateFiles state = ResolveState(options->state);
    RequireStateOutside(state, input.pairs);
    RequireFolders(input.pairs);
    RequireRecordFiles(state, false);
    RequireOneFileSystem(state);

    HostCatchStopSignals();
    const LibraryLog log;
    const StateLock lock(state);
    RequireNoHalfCommit(state);
    CountBase(state.base, "detect",
              "restore it, or delete it and run fenwickel discard to start over with every file "
              "new");
    PendingRun pending(state);
    const Summary summary = Run(state, std::move(input), log);
    PrintSummary(*options, summary);
    pending.Keep();
    return options->exitCode && summary.HasChanges() ? ExitCode::ChangesExist : ExitCode::Done;
}
