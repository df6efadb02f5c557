#include "SyncRequest.h"

#include <algorithm>
#include <iterator>
#include <set>

#include "listing/PathPairs.h"
#include "platform/Platform.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Entries.h"
#include "system/Paths.h"
#include "system/Volumes.h"
#include "upload/Destination.h"

namespace {

// For a run whose lists are sent by other means.
class ListsOnly final : public Uploader {
public:
    ListStyle Style() const override { return {"", '\0'}; }
    const char* Obstacle(std::string_view, HostEntry) const override { return nullptr; }
    bool IsDestinationEmpty() override { return false; }
    void Remove(const HandOver&) override {}
    void Send(const HandOver&) override {}
};

std::vector<WString> ResolveFolders(const std::vector<std::string>& arguments) {
    if (arguments.size() > kMostPairs) {
        throw Failure(ExitCode::Usage, std::to_string(arguments.size()) +
                                           " folders: a run takes at most 256, use several state "
                                           "folders");
    }
    std::vector<WString> folders;
    folders.reserve(arguments.size());
    for (const std::string& argument : arguments) {
        folders.push_back(HostResolvedPath(PathArgument("a folder", argument)));
    }
    return folders;
}

// Each of several folders goes into a folder with its name.
void RequireDistinctNames(const std::vector<WString>& folders) {
    std::set<WString> names;
    for (const WString& folder : folders) {
        const WString name = folder.substr(folder.find_last_of('\\') + 1);
        if (folders.size() > 1 && (name.empty() || !names.insert(UpperCase(name)).second)) {
            throw Failure(ExitCode::Usage,
                          "folder " + Quoted(folder) +
                              (name.empty() ? " has no name" : " has the name of another one") +
                              ", and each of several folders goes into a folder of its own name: "
                              "synchronise it by itself, with a state folder of its own");
        }
    }
}

void RequireApart(const WString& first, const WString& second, const char* why) {
    if (LiesBelow(first, second) || LiesBelow(second, first)) {
        throw Failure(ExitCode::Usage, Quoted(first) + " and " + Quoted(second) +
                                           " lie one inside the other: " + why);
    }
}

void RequirePlaces(const SyncRequest& request) {
    const WString state = HostResolvedPath(request.state.path);
    const WString local = LocalDestination(request.options.destination);
    const WString destination = local.empty() ? local : HostResolvedPath(local);
    for (const WString& folder : request.folders) {
        if (LiesBelow(state, folder)) {
            throw Failure(ExitCode::Usage, "--state " + Quoted(state) + " lies inside the folder " +
                                               Quoted(folder) +
                                               ": keep it outside of what is synchronised");
        }
        if (!destination.empty()) {
            RequireApart(destination, folder, "send the copy to another place");
        }
    }
    if (!destination.empty()) {
        RequireApart(destination, state, "keep the state apart from the copy");
    }
}

// "" where it cannot be told.
WString VolumeOf(const WString& folder) {
    WCHAR volume[MAX_PATH] = {};
    WCHAR name[MAX_PATH] = {};
    if (!GetVolumePathNameW(folder.c_str(), volume, MAX_PATH) ||
        !GetVolumeNameForVolumeMountPointW(volume, name, MAX_PATH)) {
        return {};
    }
    return name;
}

// Without those that lie in others of them, which come and go unseen; sorted.
std::vector<WString> Outermost(std::vector<WString> paths) {
    std::sort(paths.begin(), paths.end());
    std::vector<WString> kept;
    std::copy_if(paths.begin(), paths.end(), std::back_inserter(kept),
                 [&](const WString& path) { return !LiesInOne(path, kept); });
    return kept;
}

// A folder of this machine under its whole path: the same words mean another folder elsewhere.
std::string CanonicalDestination(const std::string& destination) {
    const WString local = LocalDestination(destination);
    return local.empty() ? destination
                         : destination.substr(0, destination.find(':') + 1) + HostNativePath(local);
}

std::string Listed(const std::vector<WString>& paths) {
    std::string text;
    for (const WString& path : paths) {
        text += (text.empty() ? "" : ", ") + Quoted(path);
    }
    return text;
}

}  // namespace

SyncRequest UnderstandSync(const SyncOptions& options) {
    if (options.dryRun && options.replacePending) {
        throw Failure(ExitCode::Usage,
                      "--dry-run does nothing, so it cannot go with --replace-pending");
    }
    SyncRequest request;
    request.options = options;
    request.state = ResolveStateFolder(options.state);
    request.folders = ResolveFolders(options.folders);
    RequireDistinctNames(request.folders);
    request.ignored = ParseIgnores(options.ignores, request.folders.size());
    request.mode = ParseSnapshotMode(options.snapshot);
    request.brakes = {ParseDeleteLimit(options.maxDelete), options.allowEmpty, options.forceAll,
                      options.acceptMounts};
    request.uploader =
        options.destination.empty()
            ? std::make_unique<ListsOnly>()
            : MakeUploader(options.destination, request.state.File(StateFile::Scratch),
                           options.keepOwners);
    RequirePlaces(request);
    return request;
}

StateSettings Survey(const SyncRequest& request) {
    StateSettings now;
    now.folders = request.folders;
    now.destination = CanonicalDestination(request.options.destination);
    for (const WString& folder : request.folders) {
        now.volumes.push_back(VolumeOf(folder));
        const std::vector<WString> below = HostVolumesBelow(folder);
        now.nested.insert(now.nested.end(), below.begin(), below.end());
    }
    now.nested = Outermost(std::move(now.nested));
    return now;
}

void RequireSameState(const StateSettings& inForce, const StateSettings& now,
                      const SyncRequest& request) {
    if (inForce.folders != now.folders) {
        throw Failure(ExitCode::Usage, "the state folder " + Quoted(request.state.path) +
                                           " belongs to " + Listed(inForce.folders) +
                                           ", in this order: name these, or use a state folder of "
                                           "its own for " +
                                           Listed(now.folders));
    }
    if (request.HandsOver() && inForce.destination != now.destination &&
        !request.options.forceAll) {
        throw Failure(
            ExitCode::Usage,
            "the last run of the state folder " + Quoted(request.state.path) +
                (inForce.destination.empty()
                     ? std::string(" was sent by others")
                     : " was sent to \"" + Escaped(inForce.destination) + '"') +
                ", and \"" + Escaped(now.destination) +
                "\" may lack what did not change since: send everything with --force-all");
    }
}

void RequireNoneNested(const StateSettings& now, const SyncRequest& request) {
    if (!now.nested.empty() && !request.options.skipNested) {
        throw Failure(ExitCode::Stopped,
                      "other volumes lie below the folders and would look empty in a snapshot: " +
                          Listed(now.nested) +
                          ": synchronise each by itself, and leave them out here with "
                          "--skip-nested");
    }
}
