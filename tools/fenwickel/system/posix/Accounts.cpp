#include "system/Accounts.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "platform/posix/Errors.h"
#include "platform/posix/named/ObjectPlace.h"

namespace {

// As people know it: by its name, or by its number where it has none.
std::string NameOfAccount(uid_t account) {
    const passwd* const entry = getpwuid(account);
    return entry != nullptr ? entry->pw_name : std::to_string(account);
}

}  // namespace

std::optional<std::uint32_t> HostFindAccount(const std::string& nameOrNumber) {
    if (const passwd* const entry = getpwnam(nameOrNumber.c_str())) {
        return entry->pw_uid;
    }
    std::uint32_t number = 0;
    const char* const end = nameOrNumber.data() + nameOrNumber.size();
    const auto [stop, error] = std::from_chars(nameOrNumber.data(), end, number);
    const bool isNumber = error == std::errc() && stop == end;
    return isNumber && number != static_cast<uid_t>(-1) ? std::optional(number) : std::nullopt;
}

std::optional<std::uint32_t> HostAccountOfProcess(std::uint32_t processId) {
    struct stat status;
    return stat(("/proc/" + std::to_string(processId)).c_str(), &status) == 0
               ? std::optional<std::uint32_t>(status.st_uid)
               : std::nullopt;
}

// The groups first: without root's rights they could not be changed any more.
bool HostBecomeAccount(std::uint32_t account) {
    const passwd* const entry = getpwuid(account);
    const gid_t group = entry != nullptr ? entry->pw_gid : account;
    if (geteuid() == account) {
        return true;
    }
    const int groups = entry != nullptr ? initgroups(entry->pw_name, group) : setgroups(1, &group);
    if (groups != 0 || setresgid(group, group, group) != 0 ||
        setresuid(account, account, account) != 0) {
        return Fail(CommonError(errno)) != FALSE;
    }
    return true;
}

std::string HostObjectsProblem() {
    const ObjectPlace& place = CurrentObjectPlace();
    const OpenPlace opened = OpenObjectPlace(place, false);
    const std::string folder = '"' + std::string(place.folder) + '"';
    switch (opened.state) {
        case PlaceState::Foreign:
            return folder + (opened.owner == place.account
                                 ? std::string(" is no folder")
                                 : " belongs to the account " + NameOfAccount(opened.owner));
        case PlaceState::Unavailable:
            return folder + " cannot be opened";
        default:
            return "";
    }
}
