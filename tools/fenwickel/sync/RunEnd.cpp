#include "RunEnd.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "listing/CommitSteps.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Stop.h"
#include "system/Entries.h"
#include "system/Paths.h"

namespace {

const char* const kSyncAgain = "discard the run and run fenwickel sync again";

constexpr std::chrono::milliseconds kUnheldNap{50};

void AwaitUnheld(const StateFiles& files) {
    const auto end = std::chrono::steady_clock::now() + kCommitPatience;
    for (;;) {
        try {
            return RequireUnheld(files);
        } catch (const Failure&) {
            ThrowIfStopped();
            if (std::chrono::steady_clock::now() >= end) {
                throw;
            }
        }
        std::this_thread::sleep_for(kUnheldNap);
    }
}

// What lies in the folder for the time of one run only, beside its listings.
bool IsOfOneRun(const WString& name) {
    const WString passing[] = {WIDE("syncing.new"), WIDE("unsettled.new"), WIDE("run.json.new"),
                               WIDE("last.json.new"), WIDE("settings.json.new")};
    const bool isList = name.ends_with(WIDE(".list")) &&
                        (name.starts_with(WIDE("remove-")) || name.starts_with(WIDE("send-")));
    return isList || name.starts_with(kUploaderScratch) ||
           std::find(std::begin(passing), std::end(passing), name) != std::end(passing);
}

// The names are gathered first: a search that meets its own deletions may leave something out.
std::vector<WString> FilesOfOneRun(const StateFolder& state) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(state.File(WIDE("*.*")).c_str(), &entry);
    std::vector<WString> files;
    bool found = search != INVALID_HANDLE_VALUE;
    while (found) {
        if (IsOfOneRun(entry.cFileName)) {
            files.push_back(state.File(entry.cFileName));
        }
        found = FindNextFileW(search, &entry) != FALSE;
    }
    const DWORD code = GetLastError();
    if (search != INVALID_HANDLE_VALUE) {
        FindClose(search);
    }
    if (code != ERROR_NO_MORE_FILES) {
        throw SystemFailure(ExitCode::Failed, "list", state.path, code, "make it readable");
    }
    return files;
}

// An uploader may keep an empty folder there while it runs.
void RemoveFolder(const WString& folder) {
    const std::string native = HostNativePath(folder);
    std::error_code failed;
    std::filesystem::remove(std::u8string(native.begin(), native.end()), failed);
    if (failed) {
        throw Failure(ExitCode::Failed,
                      "cannot delete the folder " + Quoted(folder) + ": " + failed.message() +
                          " (" + std::to_string(failed.value()) + "): delete it and run again");
    }
}

void RemoveFilesOfOneRun(const StateFolder& state) {
    for (const WString& file : FilesOfOneRun(state)) {
        HostEntryAt(file) == HostEntry::Folder ? RemoveFolder(file) : RemoveFile(file);
    }
}

// Where a killed commit was: the base is deleted first, then the new listing takes its name.
void CommitWhatIsLeft(const StateFolder& state, const LibraryLog& log) {
    const StateFiles& files = state.files;
    const std::string run = Quoted(state.File(kRunFile));
    const bool baseGone = IsGone(files.base);
    if (!IsGone(files.syncing)) {
        RequireWholeList(
            files.syncing,
            baseGone ? "restore it, or delete it and " + run + " to start over with every file new"
                     : "restore it, or delete " + run +
                           "; the next sync sends again what this run has sent");
        CommitListing(files, log);
    } else if (baseGone) {
        throw Failure(ExitCode::Damaged, "cannot finish the commit: " + Quoted(files.base) +
                                             " and " + Quoted(files.syncing) +
                                             " are both gone: restore one of them, or delete " +
                                             run + " to start over with every file new");
    }
}

// Every step may have been done before. The record of the run goes last: as long as it is there,
// somebody will come here again.
void Finish(const StateFolder& state, const RunRecord& run, const LibraryLog& log) {
    CommitWhatIsLeft(state, log);
    SaveSettings(state, run.settings);
    RemoveFile(state.files.deleted);
    RemoveFile(state.File(kUnsettledFile));
    RemoveFilesOfOneRun(state);
    SaveLast(state, run.summary);
    RemoveRun(state);
}

}  // namespace

void CommitRun(const StateFolder& state, RunRecord run, const LibraryLog& log) {
    RequireWholeList(state.files.syncing, kSyncAgain);
    RequireDeletedList(state.files, kSyncAgain);
    AwaitUnheld(state.files);
    ThrowIfStopped();
    run.stage = RunStage::Committing;
    run.summary.outcome = "committed";
    SaveRun(state, run);
    Finish(state, run, log);
}

bool FinishInterrupted(const StateFolder& state, const LibraryLog& log) {
    const std::optional<RunRecord> run = LoadRun(state);
    if (!run || run->stage != RunStage::Committing) {
        return false;
    }
    Finish(state, *run, log);
    return true;
}

void DiscardRun(const StateFolder& state, const LibraryLog& log) {
    std::optional<RunRecord> run = LoadRun(state);
    if (run && run->stage == RunStage::Committing) {
        throw Failure(ExitCode::Failed, "cannot discard the run " + run->summary.run +
                                            ": everything was sent and its commit has begun: "
                                            "finish it with fenwickel commit");
    }
    if (run && run->stage == RunStage::Pending) {
        // Killed from here on, it is not complete any more.
        run->stage = RunStage::Running;
        SaveRun(state, *run);
    }
    DiscardListings(state.files, log);
    RemoveFilesOfOneRun(state);
    RemoveRun(state);
}
