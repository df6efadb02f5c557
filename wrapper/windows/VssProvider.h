// Shadow copies of the Volume Shadow Copy Service.
#pragma once

#include "SnapshotProvider.h"
#include "VssService.h"

// A provider that puts all volumes of a Create into one set of shadow copies. It also serves a
// volume where the service cannot be reached, so that Create can report why.
std::unique_ptr<SnapshotProvider> NewVssProvider(const VssService& service);
