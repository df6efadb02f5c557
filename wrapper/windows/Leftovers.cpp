// What killed processes have left: the service drops the shadow copies of a process that ends.
#include "fenwickel/VSSProviderPolicy.h"
#include "platform/Platform.h"

namespace vsswrapper {

int ListLeftoverSnapshots(const WString&, std::vector<WString>&) {
    return 0;
}

int DeleteLeftoverSnapshot(const WString&) {
    return static_cast<int>(ERROR_NOT_SUPPORTED);
}

}  // namespace vsswrapper
