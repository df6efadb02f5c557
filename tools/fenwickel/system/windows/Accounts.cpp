#include "system/Accounts.h"

#include "platform/Platform.h"

std::optional<std::uint32_t> HostFindAccount(const std::string&) {
    return {};
}

std::optional<std::uint32_t> HostAccountOfProcess(std::uint32_t) {
    return {};
}

bool HostBecomeAccount(std::uint32_t) {
    SetLastError(ERROR_NOT_SUPPORTED);
    return false;
}

std::string HostObjectsProblem() {
    return "";
}
