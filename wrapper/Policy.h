// The policy of this process.
#pragma once

#include <vector>

#include "fenwickel/VSSProviderPolicy.h"

namespace vsswrapper {

struct Policy {
    bool allowLiveView = false;
    std::vector<VssProviderUse>* uses = nullptr;
};

const Policy& CurrentPolicy();

}  // namespace vsswrapper
