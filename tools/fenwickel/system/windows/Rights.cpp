#include "system/Rights.h"

bool HostIsRoot() {
    return false;
}

std::vector<std::string> HostOwnerIds(const WString&) {
    return {};
}

void HostMakeFilesPrivate() {}

std::string HostCommandToOwn(const WString&) {
    return "";
}

bool HostMakeFolderPrivate(const WString&) {
    return true;
}
