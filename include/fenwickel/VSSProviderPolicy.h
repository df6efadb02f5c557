// How the shadow-copy wrapper may serve a volume, how it did, and what killed processes have left.
#pragma once

#include <vector>

#include "fenwickel/Types.h"

namespace vsswrapper {

// Which provider served a volume.
struct VssProviderUse {
    WString strVolumeName;  // as CreateSnapshot was given it
    WString strProvider;    // "btrfs", "vss"; "live" is no point in time
    int nRefusal = 0;       // code with which another provider failed before; 0: no other serves it
};

// Sets the policy for the managers that the calling thread gets from now on (GetVSSBackupMgr, which
// CMetaVSS::CreateSnapshotForMetaVol calls). A manager keeps the policy under which it was got, on
// whichever thread it works; managers that exist already and other threads are not affected. In a
// thread that has made no call, the live view is not allowed.
//
// allowLiveView: a volume that no other provider can serve is shown as it is. What changes while it
// is read is then seen half before and half after.
// uses: where CreateSnapshot appends an entry per volume that it took; may be null. Not owned, and
// not locked: managers that work in several threads at once need a vector each. It must outlive
// every manager that was got under the policy. Before it goes, set another policy, so that no later
// manager of the thread gets it.
VSSWRAPPER_API void SetProviderPolicy(bool allowLiveView, std::vector<VssProviderUse>* uses);

// Appends the folders of the volume's snapshots that this library took in a process which was
// killed before it deleted them; those in use are left out. volumePath is the mount point of the
// volume. 0 or an error code of the system. There are none where the system deletes snapshots
// together with the process that took them.
VSSWRAPPER_API int ListLeftoverSnapshots(const WString& volumePath,
                                         std::vector<WString>& snapshots);

// Deletes one of them. 0 or an error code of the system, also for one that is in use by now and for
// anything that is not such a snapshot.
VSSWRAPPER_API int DeleteLeftoverSnapshot(const WString& snapshot);

}  // namespace vsswrapper
