#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <set>

#include "../NamedObjects.h"
#include "platform/posix/named/NameFile.h"
#include "platform/posix/named/ObjectName.h"

namespace {

namespace fs = std::filesystem;

std::string FileOf(const std::string& name) {
    ObjectName parsed;
    return ParseObjectName(Wide(name).c_str(), &parsed) ? parsed.path : "";
}

// Files of this name, those in the making included.
int CountFiles(const std::string& path) {
    const auto isOne = [&](const auto& entry) { return entry.path().string().starts_with(path); };
    const fs::directory_iterator entries(ObjectFolder());
    return static_cast<int>(std::count_if(begin(entries), end(entries), isOne));
}

int CountSegmentsOf(std::uint32_t process) {
    std::ifstream table("/proc/sysvipc/shm");
    int count = 0;
    for (std::string line; std::getline(table, line);) {
        unsigned maker = 0;
        count += std::sscanf(line.c_str(), "%*s %*s %*s %*s %u", &maker) == 1 && maker == process;
    }
    return count;
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

TEST(NamedObjects, NothingIsLeftOfTheKilled) {
    const std::string prefix = UniquePrefix();
    // Holds two objects and has begun to make the third.
    setenv("FENWICKEL_FAULT", "SharedSegment:3:kill", 1);
    HostChild holder = HostChild::Start(RoleCommand("named-hold", {prefix}));
    unsetenv("FENWICKEL_FAULT");
    EXPECT_EQ(holder.Wait(kLimit), 137);
    EXPECT_FALSE(Open(Mutex, Wide(prefix + "mutex")));
    EXPECT_TRUE(Create(Mutex, Wide(prefix + "other")));
    EXPECT_EQ(CountSegmentsOf(holder.Id()), 0);
    for (const char* const name : {"mutex", "event", "block", "other"}) {
        EXPECT_EQ(CountFiles(FileOf(prefix + name)), 0) << name;
    }
}

// Writes where its objects are, then makes one. Its exit code tells whether another is there.
const TestRole placeRole("named-place", [](const std::vector<std::string>& arguments) {
    WriteBytes(arguments[0], ObjectFolder());
    const Owned made = Create(Event, Wide(arguments[1] + "own"));
    return Open(Event, Wide(arguments[1] + "parent")) ? 1 : 0;
});

TEST(NamedObjects, EveryTestProgramHasItsOwn) {
    const TempFolder folder;
    const std::string prefix = UniquePrefix();
    const Owned event = Create(Event, Wide(prefix + "parent"));
    const auto start = [&](const char* name) {
        return HostChild::Start(RoleCommand("named-place", {(folder / name).string(), prefix}));
    };
    EXPECT_EQ(start("child").Wait(kLimit), 1);
    EXPECT_EQ(ReadBytes(folder / "child"), ObjectFolder());

    // Not this program's children any more. The first is killed before its memory is marked.
    unsetenv("FENWICKEL_OBJECTS");
    setenv("FENWICKEL_FAULT", "SharedSegment:1:kill", 1);
    HostChild killed = start("killed");
    unsetenv("FENWICKEL_FAULT");
    EXPECT_EQ(killed.Wait(kLimit), 137);
    EXPECT_EQ(start("next").Wait(kLimit), 0);
    setenv("FENWICKEL_OBJECTS", ObjectFolder(), 1);

    const std::set<std::string> places = {ObjectFolder(), ReadBytes(folder / "killed"),
                                          ReadBytes(folder / "next")};
    EXPECT_EQ(places.size(), 3U);
    for (const std::string& place : places) {
        EXPECT_EQ(fs::exists(place), place == ObjectFolder()) << place;
    }
    EXPECT_EQ(CountSegmentsOf(killed.Id()), 0);
}

TEST(NamedObjects, DamagedRecordsAreRefused) {
    const std::string prefix = UniquePrefix();
    const HostChild holder = StartHolder(prefix);
    const fs::path file = FileOf(prefix + "block");
    const WString name = Wide(prefix + "block");
    const std::string record = ReadBytes(file);
    for (std::size_t i = 0; i < record.size(); ++i) {
        WriteBytes(file, record.substr(0, i));
        EXPECT_EQ(ErrorOf(Open(Mapping, name)), ERROR_FILE_NOT_FOUND) << i;
        std::string flipped = record;
        flipped[i] = static_cast<char>(flipped[i] ^ 0x10);
        WriteBytes(file, flipped);
        EXPECT_EQ(ErrorOf(Open(Mapping, name)), ERROR_FILE_NOT_FOUND) << i;
    }
    // A good record under another name, and in its place.
    WriteBytes(FileOf(prefix + "other"), record);
    EXPECT_EQ(ErrorOf(Open(Mapping, Wide(prefix + "other"))), ERROR_ACCESS_DENIED);
    fs::remove(FileOf(prefix + "other"));
    WriteBytes(file, record);
    EXPECT_EQ(ErrorOf(Open(Mapping, name)), ERROR_SUCCESS);
}

TEST(NamedObjects, WhatIsPlantedDoesNoHarm) {
    const TempFolder folder;
    const std::string target = (folder / "target").string();
    WriteBytes(target, "precious");
    const struct {
        const char* what;
        std::function<void(const char*)> plant;
        DWORD opened, created;
    } kCases[] = {
        {"link", [&](const char* path) { fs::create_symlink(target, path); }, 5, 5},
        {"pipe", [](const char* path) { mkfifo(path, 0666); }, 5, 5},
        {"folder", [](const char* path) { fs::create_directory(path); }, 5, 5},
        {"garbage", [](const char* path) { WriteBytes(path, std::string(584, 'x')); }, 2, 0},
    };
    for (const auto& planted : kCases) {
        const std::string name = UniquePrefix();
        planted.plant(FileOf(name).c_str());
        EXPECT_EQ(ErrorOf(Open(Event, Wide(name))), planted.opened) << planted.what;
        EXPECT_EQ(ErrorOf(Create(Event, Wide(name))), planted.created) << planted.what;
        fs::remove(FileOf(name));
    }
    EXPECT_EQ(ReadBytes(target), "precious");
    // Another holder has the lock that orders making and finding.
    const std::string name = UniquePrefix();
    NameFile held;
    EXPECT_TRUE(MakeNameFile(FileOf(name).c_str(), &held));
    EXPECT_EQ(ErrorOf(Create(Event, Wide(name))), ERROR_ACCESS_DENIED);
    fs::remove(FileOf(name));
}

TEST(NamedObjects, WhatCannotBeAttachedIsNoLeftover) {
    const std::string prefix = UniquePrefix();
    const HostChild holder = StartHolder(prefix);
    const WString name = Wide(prefix + "event");
    FaultArm("AttachSegment", 1, FaultMode::FromThenOn, 0);
    EXPECT_EQ(ErrorOf(Open(Event, name)), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(ErrorOf(Create(Event, name)), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    // The first is its own, the others those of the sweep.
    FaultArm("AttachSegment", 2, FaultMode::FromThenOn, 0);
    EXPECT_TRUE(Create(Event, Wide(prefix + "other")));
    EXPECT_GT(FaultDisarm(), 0);
    EXPECT_EQ(ErrorOf(Open(Event, name)), ERROR_SUCCESS);
}

TEST(NamedObjects, ForkedChildKeepsTheObjectButNoLock) {
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
}

TEST(NamedObjects, AccountsShareWhatIsForEverybody) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root to become other accounts";
    }
    umask(077);
    const std::string prefix = UniquePrefix();
    const HostChild holder = StartHolder(prefix);
    const auto use = [&] {
        const DWORD block = ErrorOf(Open(Mapping, Wide(prefix + "block")));
        return Open(Event, Wide(prefix + "event")) && block == ERROR_ACCESS_DENIED ? 0 : 1;
    };
    EXPECT_EQ(AsAccount(54321, use), 0);
    // No child closes what it makes, so that the file of the first stays for the next.
    const auto make = [&] {
        const Owned& made = *new Owned(Create(Event, Wide(prefix + "left")));
        return made && GetLastError() == ERROR_SUCCESS ? 0 : 1;
    };
    for (const uid_t account : {54321, 54322, 54321}) {
        EXPECT_EQ(AsAccount(account, make), 0);
    }
    umask(022);
}

}  // namespace
