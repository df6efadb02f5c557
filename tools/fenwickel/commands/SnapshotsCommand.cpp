// fenwickel snapshots: what killed runs left.
#include <cstdio>

#include "Commands.h"
#include "Options.h"
#include "listing/StateFiles.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Json.h"
#include "report/Output.h"
#include "sync/LeftoverSnapshots.h"
#include "system/Entries.h"
#include "system/Paths.h"
#include "system/Volumes.h"

namespace {

// The volumes of the folders; without any, all volumes that can have leftovers.
std::vector<WString> VolumesToSearch(const std::vector<std::string>& folders,
                                     std::vector<std::string>* problems) {
    if (folders.empty()) {
        return HostSnapshotVolumes();
    }
    std::vector<WString> paths;
    for (const std::string& folder : folders) {
        const WString path = HostResolvedPath(PathArgument("FOLDER", folder));
        if (!HostIsFolder(path)) {
            throw NotAFolder("look for snapshots on the volume of", path,
                             "name a folder of the volume");
        }
        paths.push_back(path);
    }
    return VolumesOf(paths, problems);
}

std::string Line(const WString& snapshot, bool isDeleted, bool json) {
    const std::string path = HostDisplayText(snapshot);
    if (!json) {
        return (isDeleted ? "deleted " : "") + Escaped(path) + "\n";
    }
    std::string line;
    AppendJsonLine(line, {{"snapshot", path}, {"deleted", isDeleted}});
    return line;
}

}  // namespace

int RunSnapshots(const Command& command, std::vector<std::string> arguments) {
    const auto options = ParseOptions<SnapshotsOptions>(command, std::move(arguments));
    if (!options) {
        return ExitCode::Done;
    }
    std::vector<std::string> problems;
    Output output;
    for (const WString& snapshot :
         FindLeftovers(VolumesToSearch(options->folders, &problems), &problems)) {
        const std::string problem = options->prune ? DeleteLeftover(snapshot) : "";
        if (!problem.empty()) {
            problems.push_back(problem);
        }
        output.Print(Line(snapshot, options->prune && problem.empty(), options->json));
    }
    output.Flush();
    for (const std::string& problem : problems) {
        std::fprintf(stderr, "fenwickel snapshots: %s\n", problem.c_str());
    }
    return problems.empty() ? ExitCode::Done : ExitCode::Failed;
}
