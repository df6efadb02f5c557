// What a host allows a manager and wants to know of it; see SetProviderPolicy.
#pragma once

#include <vector>

#include "fenwickel/VSSProviderPolicy.h"

namespace vsswrapper {

struct Policy {
    bool allowLiveView = false;
    std::vector<VssProviderUse>* uses = nullptr;  // not owned
};

}  // namespace vsswrapper
