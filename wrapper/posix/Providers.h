// The providers of this system.
#pragma once

#include <memory>

#include "SnapshotProvider.h"

// Read-only snapshots of btrfs subvolumes, deleted with their set. Volumes are taken one after the
// other: each shows its own point in time.
std::unique_ptr<SnapshotProvider> NewBtrfsProvider();

// The volumes as they are.
std::unique_ptr<SnapshotProvider> NewLiveProvider();
