#include "Providers.h"

std::vector<std::unique_ptr<SnapshotProvider>> SnapshotProviders(bool allowLiveView) {
    std::vector<std::unique_ptr<SnapshotProvider>> providers;
    providers.push_back(NewBtrfsProvider());
    if (allowLiveView) {
        providers.push_back(NewLiveProvider());
    }
    return providers;
}
