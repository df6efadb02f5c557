// The volumes as they are, without a point in time.
#pragma once

#include "SnapshotProvider.h"

std::unique_ptr<SnapshotProvider> NewLiveProvider();
