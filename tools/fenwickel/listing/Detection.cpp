#include "Detection.h"

#include <cstdio>
#include <optional>

#include "JobControl.h"
#include "PathPairs.h"
#include "RecordReader.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Progress.h"
#include "report/Stop.h"
#include "system/Terminal.h"

namespace {

const char* DetectionRemedy(int code) {
    switch (code) {
        case ERROR_DISK_FULL:
            return "free some space";
        case ERROR_ACCESS_DENIED:
            return "check its permissions, or leave a top folder out with --ignore";
        case ERROR_PATH_NOT_FOUND:
            return "it vanished during the walk: run again, or walk a snapshot";
        case SYNC_EC_PATH_TOO_LONG:
            return "shorten the path, or leave a top folder out with --ignore";
        default:
            return "remove the cause and run again";
    }
}

std::string ProgressLine(const JobControl& control, double seconds) {
    const std::uint64_t seen = control.FilesSeen();
    if (seen == 0) {
        return "reading the previous listing";
    }
    char text[128];
    std::snprintf(text, sizeof text, "about %llu files examined, %llu known before, %.1f s",
                  static_cast<unsigned long long>(seen),
                  static_cast<unsigned long long>(control.FilesKnown()), seconds);
    return text;
}

int Generate(const StateFiles& state, DetectionInput& input) {
    stDetectFileChangeContext context;
    context.strBaseDBPath = state.base;
    context.strSyncingDBPath = state.syncing;
    context.strDeleteDBPath = state.deleted;
    context.mapIgnoredDirs = std::move(input.ignored);
    const bool counting = HostIsTerminal(2);
    JobControl control(input.forceAll, counting);
    context.pJobControl = &control;
    std::optional<Progress> progress;
    if (counting) {
        progress.emplace([&control](double seconds) { return ProgressLine(control, seconds); });
    }
    CSyncDetectFileChange detector;
    detector.SetDetectMetaPath(input.pairs);
    const int code = detector.InitFileChangeDetector(context);
    return code != 0 ? code : detector.GenerateSyncList();
}

}  // namespace

std::vector<std::uint64_t> CountBase(const WString& base, const std::string& command,
                                     const std::string& remedy) {
    std::vector<std::uint64_t> counts(kMostPairs);
    std::uint64_t size = 0;
    if (!IsGone(base)) {
        RecordReader reader(base);
        size = reader.FileSize();
        for (RecordView record; reader.Next(record);) {
            ++counts[record.pathIndex];
        }
        if (const auto& damage = reader.Damage()) {
            throw Failure(ExitCode::Damaged, "previous listing " + Quoted(base) + " is " +
                                                 damage->Text() + ": " + remedy);
        }
    }
    if (size == 0) {
        std::fprintf(stderr, "fenwickel %s: no previous listing in %s: every file is new\n",
                     command.c_str(), Quoted(base).c_str());
    }
    return counts;
}

void Detect(const StateFiles& state, DetectionInput input, const LibraryFailures& library) {
    const int code = Generate(state, input);
    ThrowIfStopped();
    if (code != 0) {
        throw library.FailureOf(
            code == ERROR_SHARING_VIOLATION ? ExitCode::Held : ExitCode::Failed, code,
            "cannot detect changes",
            std::string(DetectionRemedy(code)) + "; the previous listing is unchanged");
    }
}
