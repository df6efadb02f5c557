#include "platform/posix/named/ObjectPlace.h"

#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <new>

#include "platform/FaultPoint.h"

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kAllModes = 07777;

const char* ParentFor(uid_t account) {
    if (account == 0) {
        return "/run/";
    }
    return faccessat(AT_FDCWD, "/dev/shm", W_OK | X_OK, AT_EACCESS) == 0 ? "/dev/shm/" : "/tmp/";
}

void FindPlace(ObjectPlace* place) {
    const char* const tests = FaultObjectFolder(kObjectFolderCapacity - 32);
    if (tests == nullptr && place->account == 0) {
        std::snprintf(place->folder, sizeof place->folder, "%sfenwickel/", ParentFor(0));
        return;
    }
    std::snprintf(place->folder, sizeof place->folder, "%sfenwickel-%u/",
                  tests != nullptr ? tests : ParentFor(place->account),
                  static_cast<unsigned>(place->account));
}

}  // namespace

// Places are never freed: a process has one for each account that it has had.
const ObjectPlace& CurrentObjectPlace() {
    static constinit std::atomic<const ObjectPlace*> places{nullptr};
    const uid_t account = geteuid();
    const ObjectPlace* first = places.load(std::memory_order_acquire);
    for (const ObjectPlace* known = first; known != nullptr; known = known->next) {
        if (known->account == account) {
            return *known;
        }
    }
    auto* const place = new ObjectPlace{account, {}, first};
    FindPlace(place);
    while (!places.compare_exchange_weak(place->next, place, std::memory_order_acq_rel)) {
    }
    return *place;
}

OpenPlace OpenObjectPlace(const ObjectPlace& place, bool make) {
    OpenPlace opened;
    if (make && mkdir(place.folder, kFolderMode) != 0 && errno != EEXIST) {
        return opened;
    }
    // The closing '/' would follow a link.
    char name[kObjectFolderCapacity];
    std::snprintf(name, sizeof name, "%s", place.folder);
    name[std::char_traits<char>::length(name) - 1] = '\0';
    struct stat status;
    if (lstat(name, &status) != 0) {
        opened.state = errno == ENOENT ? PlaceState::Missing : PlaceState::Unavailable;
        return opened;
    }
    if (!S_ISDIR(status.st_mode) || status.st_uid != place.account) {
        opened.state = PlaceState::Foreign;
        opened.owner = status.st_uid;
        return opened;
    }
    // The umask of the process that made it may have left less, too.
    if ((status.st_mode & kAllModes) != kFolderMode &&
        fchmodat(AT_FDCWD, name, kFolderMode, 0) != 0) {
        return opened;
    }
    Descriptor folder(
        BesideStandardStreams(open(name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)));
    if (!folder || fstat(folder.get(), &status) != 0 || status.st_uid != place.account) {
        return opened;
    }
    opened.state = PlaceState::Usable;
    opened.folder = std::move(folder);
    return opened;
}
