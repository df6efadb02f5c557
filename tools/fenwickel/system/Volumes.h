// The volumes below a folder, and those that can hold snapshots.
#pragma once

#include <vector>

#include "fenwickel/Types.h"

// Full paths of what is mounted below the folder, and of the subvolumes below it, sorted, without
// snapshots of this program. For a program that reads the folder these are other volumes. Those
// that this account may not see are left out. links in folder are resolved.
std::vector<WString> HostVolumesBelow(const WString& folder);

// Root folders of the volumes that can hold snapshots which a killed process left there, sorted, as
// far as this account sees them. None where the system itself deletes such snapshots.
std::vector<WString> HostSnapshotVolumes();
