// The providers of Windows.
#include "LiveProvider.h"
#include "VssProvider.h"

std::vector<std::unique_ptr<SnapshotProvider>> SnapshotProviders(bool allowLiveView) {
    std::vector<std::unique_ptr<SnapshotProvider>> providers;
    providers.push_back(NewVssProvider(SystemVssService()));
    if (allowLiveView) {
        providers.push_back(NewLiveProvider());
    }
    return providers;
}
