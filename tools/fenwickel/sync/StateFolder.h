// The folder that --state names: everything that one synchronisation keeps between its runs.
#pragma once

#include <optional>
#include <string>

#include "listing/StateFiles.h"

struct StateFolder {
    WString path;  // without a separator at its end
    StateFiles files;

    // A file in the folder.
    WString File(const WCHAR* name) const { return path + WIDE("\\") + name; }
};

// Names of what lies in the folder beside the record files "base", "syncing" and "deleted".
inline constexpr const WCHAR* kRunFile = WIDE("run.json");            // the run that is not ended
inline constexpr const WCHAR* kSettingsFile = WIDE("settings.json");  // what the base stands for
inline constexpr const WCHAR* kLastFile = WIDE("last.json");          // how the last run ended
inline constexpr const WCHAR* kUnsettledFile = WIDE("unsettled");     // see Unsettled.h
// Begins the names of what uploaders keep there while they run.
inline constexpr const WCHAR* kUploaderScratch = WIDE("uploader.out");

// Understands --state. Throws Failure (Usage). Touches nothing; the folder need not exist.
StateFolder ResolveStateFolder(const std::string& argument);

// Makes the folder when it is missing; its parent must be there. Throws Failure.
void CreateStateFolder(const StateFolder& state);

// Throws Failure (Usage) when the folder is not there.
void RequireStateFolder(const StateFolder& state);

// The bytes of a file; nothing when there is none. Throws Failure when it cannot be read.
std::optional<std::string> ReadWholeFile(const WString& path);

// Replaces the file in one step: after a crash it has the old bytes or the new ones, and once this
// returns, the new ones also after a power cut. Throws Failure.
void WriteWholeFile(const WString& path, const std::string& bytes);

// Deletes the file; a missing one counts as deleted. Throws Failure.
void RemoveFile(const WString& path);
