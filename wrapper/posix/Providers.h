// The providers of this system.
#pragma once

#include <memory>

#include "SnapshotProvider.h"

// Read-only snapshots of btrfs subvolumes, deleted with their set. Volumes are taken one after the
// other: each is a point in time of its own.
std::unique_ptr<SnapshotProvider> NewBtrfsProvider();

// The volumes as they are.
std::unique_ptr<SnapshotProvider> NewLiveProvider();
