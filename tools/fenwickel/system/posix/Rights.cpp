#include "system/Rights.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/Errors.h"
#include "platform/posix/OthersMayWrite.h"
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

// A set-group folder gives its group to what is made in it.
std::vector<std::string> HostOwnerIds(const WString& folder) {
    struct stat status;
    const bool givesGroup =
        stat(HostNativePath(folder).c_str(), &status) == 0 && (status.st_mode & S_ISGID) != 0;
    return {"uid=" + std::to_string(geteuid()),
            "gid=" + std::to_string(givesGroup ? status.st_gid : getegid())};
}

void HostMakeFilesPrivate() {
    const mode_t before = umask(kRightsOfOthers);
    if (!g_umaskBefore) {
        g_umaskBefore = before;
    }
}

std::string HostCommandToOwn(const WString& folder) {
    const std::string path = HostNativePath(folder);
    struct stat status;
    if (stat(path.c_str(), &status) != 0) {
        return "";
    }
    if (status.st_uid != geteuid()) {
        return "chown " + std::to_string(geteuid());
    }
    return OthersMayWrite(status, path) ? "chmod go-w" : "";
}

bool HostMakeFolderPrivate(const WString& folder) {
    const std::string path = HostNativePath(folder);
    struct stat status;
    const bool done = stat(path.c_str(), &status) == 0 &&
                      ((status.st_mode & kRightsOfOthers) == 0 || chmod(path.c_str(), 0700) == 0 ||
                       !OthersMayWrite(status, path));
    return done || Fail(CommonError(errno)) != FALSE;
}
