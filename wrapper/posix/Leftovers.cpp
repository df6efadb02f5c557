// What killed processes have left, for the host.
#include "BtrfsSnapshot.h"
#include "fenwickel/VSSProviderPolicy.h"
#include "platform/posix/Names.h"

namespace vsswrapper {

int ListLeftoverSnapshots(const WString& volumePath, std::vector<WString>& snapshots) {
    std::string root;
    if (!PathFromWide(volumePath.c_str(), &root)) {
        return static_cast<int>(GetLastError());
    }
    std::vector<std::string> paths;
    const int code = ListLeftovers(root, &paths);
    for (const std::string& path : paths) {
        snapshots.push_back(WideFromPath(path + '/'));
    }
    return code;
}

int DeleteLeftoverSnapshot(const WString& snapshot) {
    std::string path;
    return PathFromWide(snapshot.c_str(), &path) ? DeleteLeftover(path)
                                                 : static_cast<int>(GetLastError());
}

}  // namespace vsswrapper
