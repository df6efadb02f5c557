#include "PathPairs.h"

#include <algorithm>
#include <charconv>

#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Entries.h"
#include "system/Paths.h"

namespace {

constexpr WCHAR kSeparator = '\\';

Failure Misused(const std::string& argument, const std::string& why) {
    return {ExitCode::Usage, "argument \"" + Escaped(argument) + "\": " + why};
}

stPathPair MakePair(const std::string& meta, const std::string& snapshot) {
    return {PathArgument("a folder", meta), WithSeparator(PathArgument("a folder", snapshot))};
}

stPathPair SplitAt(const std::string& argument, std::size_t equals) {
    if (equals == 0 || equals + 1 == argument.size()) {
        throw Misused(argument, "one side of '=' is empty: write META=SNAPSHOT");
    }
    return MakePair(argument.substr(0, equals), argument.substr(equals + 1));
}

// Both sides of '=' may hold further '=': the split that leaves an existing folder is meant.
stPathPair ParsePair(const std::string& argument) {
    if (argument.empty()) {
        throw Misused(argument, "name a folder");
    }
    const std::size_t first = argument.find('=');
    if (first == std::string::npos || HostIsFolder(HostWidePath(argument))) {
        return MakePair(argument, argument);
    }
    std::vector<std::size_t> candidates;
    for (std::size_t at = first; at != std::string::npos; at = argument.find('=', at + 1)) {
        if (at + 1 < argument.size() && HostIsFolder(HostWidePath(argument.substr(at + 1)))) {
            candidates.push_back(at);
        }
    }
    if (candidates.size() == 1 ||
        (candidates.empty() && argument.find('=', first + 1) == std::string::npos)) {
        return SplitAt(argument, candidates.empty() ? first : candidates.front());
    }
    throw Misused(argument, candidates.empty()
                                ? "no part after '=' is an existing folder: check the path"
                                : "several splits at '=' name an existing folder: write the "
                                  "snapshot as an absolute path");
}

// A single name below a folder: resolving it must lead to a direct child of a folder. The root is
// one that is always there.
WString IgnoredName(const std::string& argument, const std::string& name) {
    const WString here = HostWidePath("/");
    const bool special = name.empty() || name == "." || name == "..";
    const WString path = special ? here : HostWidePath("/" + name);
    if (special || name.find('/') != std::string::npos || HostParentFolder(path) != here) {
        throw Misused(argument, "NAME must be one folder name without separators");
    }
    return path.substr(WithSeparator(here).size());
}

}  // namespace

WString WithSeparator(WString folder) {
    if (folder.empty() || folder.back() != kSeparator) {
        folder += kSeparator;
    }
    return folder;
}

bool LiesBelow(const WString& path, const WString& folder) {
    return WithSeparator(path).starts_with(WithSeparator(folder));
}

bool LiesInOne(std::basic_string_view<WCHAR> path, const std::vector<WString>& paths) {
    for (std::size_t end = 0; !paths.empty() && end < path.size();) {
        end = std::min(path.find('\\', end + 1), path.size());
        if (std::binary_search(paths.begin(), paths.end(), path.substr(0, end))) {
            return true;
        }
    }
    return false;
}

std::vector<stPathPair> ParsePairs(const std::vector<std::string>& arguments) {
    if (arguments.size() > kMostPairs) {
        throw Failure(ExitCode::Usage, std::to_string(arguments.size()) +
                                           " folders: a run takes at most 256, use several runs "
                                           "with state files of their own");
    }
    std::vector<stPathPair> pairs;
    pairs.reserve(arguments.size());
    for (const std::string& argument : arguments) {
        pairs.push_back(ParsePair(argument));
    }
    return pairs;
}

std::map<std::int32_t, std::vector<WString>> ParseIgnores(const std::vector<std::string>& arguments,
                                                          std::size_t pairCount) {
    std::map<std::int32_t, std::vector<WString>> ignored;
    for (const std::string& parsed : arguments) {
        // As the user wrote it: the option parser gets a list's bracket with "./" before it.
        const std::string argument = parsed.starts_with("./[") ? parsed.substr(2) : parsed;
        const std::size_t colon = argument.find(':');
        if (colon == std::string::npos) {
            throw Misused(argument, "--ignore takes INDEX:NAME");
        }
        std::uint32_t index = 0;
        const char* end = argument.data() + colon;
        const auto [stop, error] = std::from_chars(argument.data(), end, index);
        if (colon == 0 || stop != end || error != std::errc() || index >= pairCount) {
            throw Misused(argument, "INDEX must be a number from 0 to " +
                                        std::to_string(pairCount - 1) +
                                        ", the position of a folder");
        }
        ignored[static_cast<std::int32_t>(index)].push_back(
            IgnoredName(argument, argument.substr(colon + 1)));
    }
    return ignored;
}

void RequireStateOutside(const StateFiles& state, const std::vector<stPathPair>& pairs) {
    for (const stPathPair& pair : pairs) {
        const WString folder = HostResolvedPath(pair.strSnapshotPath);
        for (const StateRole& role : Roles(state)) {
            if (LiesBelow(HostResolvedPath(role.path), folder) ||
                LiesBelow(HostResolvedPath(HostParentFolder(role.path)), folder)) {
                throw Failure(ExitCode::Usage, std::string(role.name) + " " + Quoted(role.path) +
                                                   " lies inside the folder " +
                                                   Quoted(pair.strSnapshotPath) +
                                                   ": keep state files outside walked folders");
            }
        }
    }
}

void RequireFolders(const std::vector<stPathPair>& pairs) {
    for (const stPathPair& pair : pairs) {
        WString folder = pair.strSnapshotPath;
        if (HostIsFolder(folder)) {
            continue;
        }
        if (folder.size() > 1) {
            folder.pop_back();
        }
        throw NotAFolder("walk", folder, "check the path");
    }
}
