// The folders of a run as named on the command line.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "StateFiles.h"
#include "fenwickel/SyncDetectFileChange.h"

// Most pairs that the path index of a record tells apart.
inline constexpr std::size_t kMostPairs = 256;

// The folder with exactly one separator at its end.
WString WithSeparator(WString folder);

// True when the path is the folder or lies in it. By their text: resolved paths are meant.
bool LiesBelow(const WString& path, const WString& folder);

// True when the path is one of the paths, which are sorted, or lies in one of them. Looks up each
// beginning of the path: there may be thousands of paths, asked about for every file.
bool LiesInOne(std::basic_string_view<WCHAR> path, const std::vector<WString>& paths);

// Understands PAIR arguments: FOLDER, or META=SNAPSHOT. Throws Failure(Usage).
std::vector<stPathPair> ParsePairs(const std::vector<std::string>& arguments);

// Understands INDEX:NAME arguments of a run with pairCount pairs. Throws Failure(Usage).
std::map<std::int32_t, std::vector<WString>> ParseIgnores(const std::vector<std::string>& arguments,
                                                          std::size_t pairCount);

// Throws Failure(Usage) when a state file would lie inside a walked folder: each run would then
// find its own files.
void RequireStateOutside(const StateFiles& state, const std::vector<stPathPair>& pairs);

// Throws Failure(Failed) when a folder to walk is missing or not a folder.
void RequireFolders(const std::vector<stPathPair>& pairs);
