#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <set>
#include <thread>

#include "../NamedObjects.h"
#include "platform/FaultPoint.h"
#include "platform/posix/named/ObjectName.h"

namespace {

namespace fs = std::filesystem;

std::string FileOf(const std::string& name) {
    ObjectName parsed;
    return ParseObjectName(Wide(name).c_str(), &parsed) ? parsed.path : "";
}

std::string FolderOf(const ObjectPlace& place) {
    return place.folder;
}

// Files of this name, those in the making included.
int CountFiles(const std::string& path) {
    const auto isOne = [&](const auto& entry) { return entry.path().string().starts_with(path); };
    const fs::directory_iterator entries(CurrentObjectPlace().folder);
    return static_cast<int>(std::count_if(begin(entries), end(entries), isOne));
}

// Runs the body in a child of another account. Its exit code.
int AsAccount(uid_t account, const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(setuid(account) == 0 ? body() : 99);
    }
    int status = 0;
    return waitpid(child, &status, 0) == child ? WEXITSTATUS(status) : -1;
}

constexpr uid_t kStranger = 54321;

TEST(NamedObjects, NothingIsLeftOfTheKilled) {
    for (const char* const step : {"ReserveObject", "PublishObject"}) {
        const std::string prefix = UniquePrefix();
        // Holds two objects and has begun to make the third.
        setenv("FENWICKEL_FAULT", (std::string(step) + ":3:kill").c_str(), 1);
        HostChild holder = HostChild::Start(RoleCommand("named-hold", {prefix}));
        unsetenv("FENWICKEL_FAULT");
        EXPECT_EQ(holder.Wait(kLimit), 137);
        EXPECT_FALSE(Open(Mutex, Wide(prefix + "mutex")));
        // Sweeps as the first creation of a program.
        HostChild next = HostChild::Start(RoleCommand("named-place", {"/dev/null", prefix}));
        EXPECT_EQ(next.Wait(kLimit), 0);
        for (const char* const name : {"mutex", "event", "block", "own"}) {
            EXPECT_EQ(CountFiles(FileOf(prefix + name)), 0) << step << name;
        }
    }
}

// Writes where its objects are, then makes one. Its exit code tells whether another is there.
const TestRole placeRole("named-place", [](const std::vector<std::string>& arguments) {
    WriteBytes(arguments[0], FolderOf(CurrentObjectPlace()));
    const Owned made = Create(Event, Wide(arguments[1] + "own"));
    return Open(Event, Wide(arguments[1] + "parent")) ? 1 : 0;
});

TEST(NamedObjects, EveryTestProgramHasItsOwn) {
    const TempFolder folder;
    const std::string prefix = UniquePrefix();
    const Owned event = Create(Event, Wide(prefix + "parent"));
    const std::string own = CurrentObjectPlace().folder;
    const std::string above = fs::path(own).parent_path().parent_path().string() + "/";
    const auto start = [&](const char* name) {
        return HostChild::Start(RoleCommand("named-place", {(folder / name).string(), prefix}));
    };
    EXPECT_EQ(start("child").Wait(kLimit), 1);
    EXPECT_EQ(ReadBytes(folder / "child"), own);

    // Not this program's children any more.
    unsetenv("FENWICKEL_OBJECTS");
    setenv("FENWICKEL_FAULT", "ReserveObject:1:kill", 1);
    HostChild killed = start("killed");
    unsetenv("FENWICKEL_FAULT");
    EXPECT_EQ(killed.Wait(kLimit), 137);
    EXPECT_EQ(start("next").Wait(kLimit), 0);
    setenv("FENWICKEL_OBJECTS", above.c_str(), 1);

    const std::set<std::string> places = {own, ReadBytes(folder / "killed"),
                                          ReadBytes(folder / "next")};
    EXPECT_EQ(places.size(), 3U);
    for (const std::string& place : places) {
        EXPECT_EQ(fs::exists(place), place == own) << place;
    }
}

// What lies in the place of an object and is none.
TEST(NamedObjects, WhatIsPlantedDoesNoHarm) {
    const TempFolder folder;
    const std::string target = (folder / "target").string();
    WriteBytes(target, "precious");
    const std::string live = UniquePrefix();
    const Owned made = Create(Event, Wide(live));
    const std::string bytes = ReadBytes(FileOf(live));
    const struct {
        const char* what;
        std::function<void(const char*)> plant;
        DWORD created;
    } kCases[] = {
        {"link", [&](const char* path) { fs::create_symlink(target, path); }, 5},
        {"pipe", [](const char* path) { mkfifo(path, 0600); }, 5},
        {"folder", [](const char* path) { fs::create_directory(path); }, 5},
        {"garbage", [](const char* path) { WriteBytes(path, std::string(8192, 'x')); }, 0},
        {"empty", [](const char* path) { WriteBytes(path, ""); }, 0},
        {"another", [&](const char* path) { WriteBytes(path, bytes); }, 0},
    };
    for (const auto& planted : kCases) {
        const std::string name = UniquePrefix();
        const std::string path = FileOf(name);
        planted.plant(path.c_str());
        chmod(path.c_str(), 0600);
        EXPECT_EQ(ErrorOf(Open(Event, Wide(name))), ERROR_FILE_NOT_FOUND) << planted.what;
        EXPECT_EQ(ErrorOf(Create(Event, Wide(name))), planted.created) << planted.what;
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    EXPECT_EQ(ReadBytes(target), "precious");
}

// A file that some process holds is no leftover, whatever is in it.
TEST(NamedObjects, DamagedFilesAreRefused) {
    for (const std::size_t size : {std::size_t{0}, std::size_t{4095}, std::size_t{8192}}) {
        const std::string name = UniquePrefix();
        const std::string path = FileOf(name);
        WriteBytes(path, std::string(size, 'x'));
        chmod(path.c_str(), 0600);
        const int held = open(path.c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_EQ(flock(held, LOCK_SH), 0);
        EXPECT_EQ(ErrorOf(Open(Mapping, Wide(name))), ERROR_ACCESS_DENIED) << size;
        EXPECT_EQ(ErrorOf(Create(Mapping, Wide(name))), ERROR_ACCESS_DENIED) << size;
        close(held);
    }
}

TEST(NamedObjects, WithoutRoomForAFileTheyArePrivate) {
    const std::string prefix = UniquePrefix();
    for (const char* const step : {"ReserveObject", "PublishObject"}) {
        const std::string name = prefix + step;
        FaultArm(step, 1, FaultMode::FromThenOn, 0);
        const Owned made = Create(Event, Wide(name));
        EXPECT_GT(FaultDisarm(), 0);
        EXPECT_EQ(ErrorOf(made), ERROR_SUCCESS) << step;
        EXPECT_TRUE(Open(Event, Wide(name))) << step;
        HostChild other = HostChild::Start(RoleCommand("named-place", {"/dev/null", name}));
        EXPECT_EQ(other.Wait(kLimit), 0);
        EXPECT_EQ(CountFiles(FileOf(name)), 0) << step;
    }
}

TEST(NamedObjects, ForkedChildKeepsTheObject) {
    const WString name = Wide(UniquePrefix());
    Owned event = Create(Event, name);
    const DWORD id = GetCurrentProcessId();
    const pid_t child = fork();
    if (child == 0) {
        _exit(GetCurrentProcessId() != id && SetEvent(event.get()) ? pause() : 1);
    }
    EXPECT_EQ(WaitForSingleObject(event.get(), kLimit), WAIT_OBJECT_0);
    event.reset();
    EXPECT_EQ(ErrorOf(Open(Event, name)), ERROR_SUCCESS);
    EXPECT_EQ(kill(child, SIGKILL) + waitpid(child, nullptr, 0), child);
    EXPECT_EQ(ErrorOf(Open(Event, name)), ERROR_FILE_NOT_FOUND);
}

// The parent's thread owns the mutex, and another one of the parent is at work on the table.
TEST(NamedObjects, ForkedChildOwnsNoMutexAndDoesNotHang) {
    const WString name = Wide(UniquePrefix());
    const Owned mutex(CreateMutexW(nullptr, TRUE, name.c_str()));
    std::atomic<bool> ended = false;
    std::thread busy([&] {
        while (!ended) {
            Create(Event, name + WIDE("x"));
        }
    });
    for (int round = 0; round < 50; ++round) {
        const pid_t child = fork();
        if (child == 0) {
            alarm(60);
            const bool owns = ReleaseMutex(mutex.get()) != FALSE;
            const bool free = WaitForSingleObject(mutex.get(), 0) != WAIT_TIMEOUT;
            _exit(owns || free || !Create(Event, name + WIDE("y")) ? 1 : 0);
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    ended = true;
    busy.join();
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
}

TEST(NamedObjects, ClosingAnOwnedMutexLeavesItAbandoned) {
    const WString name = Wide(UniquePrefix());
    Owned mutex(CreateMutexW(nullptr, TRUE, name.c_str()));
    HostChild other = HostChild::Start(RoleCommand("named-wait", {Narrow(name)}));
    while (!Open(Event, name + WIDE("ready"))) {
        std::this_thread::yield();
    }
    mutex.reset();
    EXPECT_EQ(other.Wait(kLimit), static_cast<int>(WAIT_ABANDONED));
    // A thread that ends with it.
    mutex = Create(Mutex, name);
    std::thread([&] { WaitForSingleObject(mutex.get(), 0); }).join();
    EXPECT_EQ(WaitForSingleObject(mutex.get(), kLimit), DWORD{WAIT_ABANDONED});
}
const TestRole waitRole("named-wait", [](const std::vector<std::string>& arguments) {
    const Owned mutex = Open(Mutex, Wide(arguments[0]));
    const Owned ready = Create(Event, Wide(arguments[0] + "ready"));
    return static_cast<int>(WaitForSingleObject(mutex.get(), kLimit));
});

// Each account has objects of its own, and none can get at those of another one.
TEST(NamedObjects, AccountsDoNotMeet) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become other accounts";
    }
    umask(0);
    const std::string prefix = UniquePrefix();
    const HostChild holder = StartHolder(prefix);
    const std::string file = FileOf(prefix + "event");
    struct stat status;
    EXPECT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_EQ(stat(CurrentObjectPlace().folder, &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    const auto attack = [&] {
        const bool sees = Open(Event, Wide(prefix + "event")) != nullptr;
        const Owned own = Create(Event, Wide(prefix + "event"));
        const bool isNew = GetLastError() == ERROR_SUCCESS;
        return sees || !isNew || open(file.c_str(), O_RDONLY) >= 0 ? 1 : 0;
    };
    EXPECT_EQ(AsAccount(kStranger, attack), 0);
    umask(022);
}

// The name of an account's folder is taken by another one: its objects are private.
TEST(NamedObjects, ATakenFolderMakesThemPrivate) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become other accounts";
    }
    const std::string above = fs::path(CurrentObjectPlace().folder).parent_path().parent_path();
    const std::function<void(const std::string&)> plants[] = {
        [](const std::string& path) { fs::create_directory(path); },
        [](const std::string& path) { fs::create_directory_symlink("/tmp", path); },
        [](const std::string& path) { WriteBytes(path, ""); },
    };
    for (uid_t account = kStranger + 1; const auto& plant : plants) {
        const std::string folder = above + "/fenwickel-" + std::to_string(++account);
        plant(folder);
        const std::string name = UniquePrefix();
        const auto use = [&] {
            const Owned made = Create(Event, Wide(name));
            return made && Open(Event, Wide(name)) &&
                           OpenObjectPlace(CurrentObjectPlace(), true).state == PlaceState::Foreign
                       ? 0
                       : 1;
        };
        EXPECT_EQ(AsAccount(account, use), 0) << folder;
        std::error_code ignored;
        EXPECT_TRUE(fs::is_symlink(folder) || !fs::is_directory(folder) || fs::is_empty(folder));
        fs::remove(folder, ignored);
    }
}

TEST(NamedObjects, AFolderOfAnotherModeIsMended) {
    for (const mode_t mode : {0777, 0600, 0000}) {
        chmod(CurrentObjectPlace().folder, mode);
        EXPECT_TRUE(Create(Event, Wide(UniquePrefix())));
        struct stat status;
        EXPECT_EQ(stat(CurrentObjectPlace().folder, &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << mode;
    }
}

// A child that can have no descriptor of its own must not end what its parent holds.
TEST(NamedObjects, AForkedChildWithoutDescriptorsLeavesTheObject) {
    const std::string name = UniquePrefix();
    const Owned event = Create(Event, Wide(name));
    const pid_t child = fork();
    if (child == 0) {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        const pid_t second = fork();
        if (second == 0) {
            CloseHandle(event.get());
            _exit(0);
        }
        _exit(waitpid(second, nullptr, 0) == second ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(CountFiles(FileOf(name)), 1);
}

}  // namespace
