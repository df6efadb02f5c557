#include "LeftoverSnapshots.h"

#include <algorithm>
#include <cstdio>

#include "fenwickel/VSSProviderPolicy.h"
#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Entries.h"

namespace {

constexpr const WCHAR* kSnapshotTag = WIDE(".fenwickel-snapshot-");

std::string Problem(const char* action, const WString& path, int code, const char* remedy) {
    return SystemFailure(ExitCode::Failed, action, path, static_cast<std::uint32_t>(code), remedy)
        .what();
}

const char* PruneRemedy(int code) {
    switch (static_cast<DWORD>(code)) {
        case ERROR_ACCESS_DENIED:
            return "run \"fenwickel snapshots --prune\" as root";
        case ERROR_NOT_SUPPORTED:
            return "the system deletes it when this process ends";
        default:
            return "try again, with \"fenwickel snapshots --prune\"";
    }
}

WString WithoutSeparator(WString path) {
    if (path.ends_with(WIDE('\\'))) {
        path.pop_back();
    }
    return path;
}

}  // namespace

std::vector<WString> VolumesOf(const std::vector<WString>& folders,
                               std::vector<std::string>* problems) {
    std::vector<WString> volumes;
    for (const WString& folder : folders) {
        std::vector<WCHAR> volume(folder.size() + MAX_PATH);
        if (!GetVolumePathNameW(folder.c_str(), volume.data(), static_cast<DWORD>(volume.size()))) {
            problems->push_back(Problem("find the volume of", folder,
                                        static_cast<int>(GetLastError()),
                                        "see that it can be read"));
        } else if (std::find(volumes.begin(), volumes.end(), volume.data()) == volumes.end()) {
            volumes.emplace_back(volume.data());
        }
    }
    return volumes;
}

std::vector<WString> FindLeftovers(const std::vector<WString>& volumes,
                                   std::vector<std::string>* problems) {
    std::vector<WString> snapshots;
    for (const WString& volume : volumes) {
        const int code = vsswrapper::ListLeftoverSnapshots(volume, snapshots);
        if (code != 0) {
            problems->push_back(
                Problem("look for snapshots of killed runs on", volume, code, PruneRemedy(code)));
        }
    }
    std::transform(snapshots.begin(), snapshots.end(), snapshots.begin(), WithoutSeparator);
    return snapshots;
}

std::string DeleteLeftover(const WString& snapshot) {
    const int code = vsswrapper::DeleteLeftoverSnapshot(snapshot);
    return code == 0 || HostEntryAt(snapshot) == HostEntry::Missing
               ? ""
               : Problem("delete the snapshot", snapshot, code, PruneRemedy(code));
}

void RemoveLeftoverSnapshots(const std::vector<WString>& folders) {
    std::vector<std::string> problems;
    for (const WString& snapshot : FindLeftovers(VolumesOf(folders, &problems), &problems)) {
        const std::string problem = DeleteLeftover(snapshot);
        if (!problem.empty()) {
            problems.push_back(problem);
        }
    }
    for (const std::string& problem : problems) {
        std::fprintf(stderr, "fenwickel: %s\n", problem.c_str());
    }
}

std::vector<WString> SnapshotNamesIn(const WString& folder) {
    std::vector<WString> names = HostNamesIn(folder).value_or(std::vector<WString>());
    std::erase_if(names, [](const WString& name) { return !name.starts_with(kSnapshotTag); });
    return names;
}
