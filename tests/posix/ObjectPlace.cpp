// Gives every test program a folder of its own for named objects, which its children inherit. So
// test programs disturb neither each other nor the programs of the machine's users, and a log
// viewer of one of these does not change what a test sees.
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/posix/Descriptor.h"

namespace {

constexpr const char* kVariable = "FENWICKEL_OBJECTS";
constexpr const char* kFolders[] = {"/dev/shm/", "/tmp/"};
constexpr const char* kPlacePrefix = "fenwickel-own.";
constexpr mode_t kForAllAccounts = 01777;

// A test program holds a lock on its place as long as it lives.
Descriptor LockPlace(const std::string& path) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    Descriptor place(BesideStandardStreams(open(path.c_str(), kFlags)));
    // Gone when another program has removed it in between.
    const bool locked =
        place && flock(place.get(), LOCK_EX | LOCK_NB) == 0 && access(path.c_str(), F_OK) == 0;
    return locked ? std::move(place) : Descriptor();
}

void RemovePlace(const std::string& path) {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

// Those of test programs that were killed: their locks are free.
void RemoveDeadPlaces(const std::string& folder) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string path = entry.path().string();
        if (path.starts_with(folder + kPlacePrefix) && LockPlace(path)) {
            RemovePlace(path);
        }
    }
}

// Made before, and removed after, all static objects, of which some have named objects.
struct Place {
    std::string path;
    Descriptor lock;
    pid_t owner = getpid();
};
Place* g_place = nullptr;

// A program that is ended by exit() in a child of fork must leave the place to its parent.
void RemoveOwnPlace() {
    if (g_place->owner == getpid()) {
        RemovePlace(g_place->path);
    }
}

// Another program may take the new folder for that of a dead one before it is locked.
std::unique_ptr<Place> MakePlace(const std::string& folder) {
    auto place = std::make_unique<Place>();
    do {
        place->path = folder + kPlacePrefix + "XXXXXX";
        if (mkdtemp(place->path.data()) == nullptr) {
            return nullptr;
        }
        place->lock = LockPlace(place->path);
    } while (!place->lock);
    return place;
}

// Runs before the constructors of static objects. A child works in the place of its parent.
[[gnu::constructor(101)]] void EnterPlace() {
    if (std::getenv(kVariable) != nullptr) {
        return;
    }
    std::unique_ptr<Place> place;
    for (const char* const folder : kFolders) {
        RemoveDeadPlaces(folder);
        place = place != nullptr ? std::move(place) : MakePlace(folder);
    }
    // Tests that run as root let other accounts have their folders there.
    if (place == nullptr || (geteuid() == 0 && chmod(place->path.c_str(), kForAllAccounts) != 0)) {
        std::perror("no folder for the named objects of the tests");
        std::abort();
    }
    setenv(kVariable, (place->path + "/").c_str(), 1);
    g_place = place.release();
    std::atexit(RemoveOwnPlace);
}

}  // namespace
