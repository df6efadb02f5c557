#include "system/Rights.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/Errors.h"
#include "system/Paths.h"
#include "system/posix/ChildUmask.h"

namespace {

constexpr mode_t kRightsOfOthers = S_IRWXG | S_IRWXO;

std::optional<mode_t> g_umaskBefore;

}  // namespace

std::optional<mode_t> UmaskForChildren() {
    return g_umaskBefore;
}

bool HostIsRoot() {
    return geteuid() == 0;
}

std::vector<std::string> HostOwnerIds() {
    return {"uid=" + std::to_string(geteuid()), "gid=" + std::to_string(getegid())};
}

void HostMakeFilesPrivate() {
    const mode_t before = umask(kRightsOfOthers);
    if (!g_umaskBefore) {
        g_umaskBefore = before;
    }
}

// The bits of the group also bound what an access control list grants.
std::string HostCommandToOwn(const WString& folder) {
    const std::string path = HostNativePath(folder);
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return "";
    }
    if (status.st_uid != geteuid()) {
        return "chown " + std::to_string(geteuid());
    }
    return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ? "chmod go-w" : "";
}

bool HostMakeFolderPrivate(const WString& folder) {
    const std::string path = HostNativePath(folder);
    struct stat status;
    const bool done = stat(path.c_str(), &status) == 0 &&
                      ((status.st_mode & kRightsOfOthers) == 0 || chmod(path.c_str(), 0700) == 0);
    return done || Fail(CommonError(errno)) != FALSE;
}
