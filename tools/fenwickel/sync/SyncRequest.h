// What the user asked of sync, understood and checked, and the circumstances of the run.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "Brakes.h"
#include "FolderSnapshot.h"
#include "StateFolder.h"
#include "SyncOptions.h"
#include "upload/Uploader.h"

struct SyncRequest {
    SyncOptions options;
    StateFolder state;
    std::vector<WString> folders;  // links resolved
    std::map<std::int32_t, std::vector<WString>> ignored;
    SnapshotMode mode = SnapshotMode::Require;
    BrakeOptions brakes;
    std::unique_ptr<Uploader> uploader;  // without --to one that only lists

    bool HandsOver() const { return !options.destination.empty() && !options.dryRun; }
};

// Throws Failure (Usage). Touches nothing.
SyncRequest UnderstandSync(const SyncOptions& options);

// The folders, their volumes, what lies below them, and the destination.
StateSettings Survey(const SyncRequest& request);

// Throws Failure (Usage) when the state was made for other folders or for another destination:
// records tell a folder by its position, and only what is new or changed would be sent there.
void RequireSameState(const StateSettings& inForce, const StateSettings& now,
                      const SyncRequest& request);

// Throws Failure (Stopped) when something lies below the folders and is not to be skipped: inside a
// snapshot it looks like an empty folder.
void RequireNoneNested(const StateSettings& now, const SyncRequest& request);
