#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "NamedObjects.h"

namespace {

constexpr int kRacers = 4;
constexpr int kRaces = 50;

// Views stay until the process ends, where a test is not about their end.
std::atomic<std::uint32_t>* Map(const Owned& mapping) {
    return static_cast<std::atomic<std::uint32_t>*>(
        MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
}

int Hold(const std::vector<std::string>& arguments) {
    const Owned mutex = Create(Mutex, Wide(arguments[0] + "mutex"));
    const Owned event = Create(Event, Wide(arguments[0] + "event"));
    const Owned block = Create(Mapping, Wide(arguments[0] + "block"));
    if (WaitForSingleObject(mutex.get(), kLimit) == WAIT_OBJECT_0) {
        SetEvent(Open(Event, Wide(arguments[0] + "ready")).get());
    }
    return static_cast<int>(WaitForSingleObject(event.get(), kLimit));
}
const TestRole holdRole("named-hold", Hold);

// Makes the same objects as other processes do at the same time. Counts in each its holders and
// its makers.
std::vector<Owned> MakeAll(const std::string& prefix) {
    std::vector<Owned> made;
    for (int i = 0; i < kRaces; ++i) {
        made.push_back(Create(Mapping, Wide(prefix + std::to_string(i))));
        const bool isMaker = GetLastError() == ERROR_SUCCESS;
        Map(made.back())[isMaker ? 1 : 0] += 1;
    }
    return made;
}

int Race(const std::vector<std::string>& arguments) {
    WaitForSingleObject(Open(Event, Wide(arguments[0] + "go")).get(), kLimit);
    const std::vector<Owned> made = MakeAll(arguments[0]);
    const Owned end = Open(Event, Wide(arguments[0] + "end"));
    return static_cast<int>(WaitForSingleObject(end.get(), kLimit));
}
const TestRole raceRole("named-race", Race);

TEST(ContractNamed, ExistsOnceAndOnlyWhileItIsHeld) {
    for (const Kind kind : {Mutex, Event, Mapping}) {
        const Kind other = kind == Event ? Mapping : Event;
        for (const char* const name : {"Global\\fenwickel-one", "Local\\fenwickel-one"}) {
            const WString wide = Wide(name + std::to_string(GetCurrentProcessId()));
            EXPECT_EQ(ErrorOf(Open(kind, wide)), ERROR_FILE_NOT_FOUND);
            Owned made = Create(kind, wide);
            EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
            const Owned again = Create(kind, wide);
            EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
            made.reset();
            EXPECT_TRUE(again && Open(kind, wide));
            EXPECT_EQ(ErrorOf(Create(other, wide)), ERROR_INVALID_HANDLE);
            EXPECT_EQ(ErrorOf(Open(other, wide)), ERROR_INVALID_HANDLE);
        }
    }
}

TEST(ContractNamed, MutexIsRecursiveThroughEveryHandle) {
    const WString name = Wide(UniquePrefix());
    const Owned first(CreateMutexW(nullptr, TRUE, name.c_str()));
    const Owned second = Open(Mutex, name);
    EXPECT_EQ(WaitForSingleObject(second.get(), 0), WAIT_OBJECT_0);
    for (const Owned* const handle : {&first, &second}) {
        std::thread([&] {
            // Only the call that makes it can take it at once.
            const Owned third(CreateMutexW(nullptr, TRUE, name.c_str()));
            EXPECT_FALSE(ReleaseMutex(third.get()));
            EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_OWNER});
            EXPECT_EQ(WaitForSingleObject(third.get(), 5), DWORD{WAIT_TIMEOUT});
        }).join();
        EXPECT_TRUE(ReleaseMutex(handle->get()));
    }
    EXPECT_FALSE(ReleaseMutex(first.get()));
}

TEST(ContractNamed, TellsThatTheOwnerWasKilled) {
    const std::string prefix = UniquePrefix();
    const Owned mutex = Create(Mutex, Wide(prefix + "mutex"));
    HostChild holder = StartHolder(prefix);
    const Owned event = Open(Event, Wide(prefix + "event"));
    EXPECT_TRUE(event && Open(Mapping, Wide(prefix + "block")));
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 20), DWORD{WAIT_TIMEOUT});
    holder.Kill();
    EXPECT_EQ(WaitForSingleObject(mutex.get(), kLimit), DWORD{WAIT_ABANDONED});
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(mutex.get()));
    EXPECT_EQ(holder.Wait(kLimit), 137);
    EXPECT_EQ(ErrorOf(Open(Mapping, Wide(prefix + "block"))), ERROR_FILE_NOT_FOUND);
}

TEST(ContractNamed, ViewKeepsTheMemory) {
    Owned mapping = Create(Mapping, Wide(UniquePrefix()));
    EXPECT_EQ(MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, kBlockSize + 4096), nullptr);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_ACCESS_DENIED});
    void* const first = MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, kBlockSize);
    EXPECT_EQ(std::memcmp(first, std::string(kBlockSize, '\0').data(), kBlockSize), 0);
    std::memset(first, 7, kBlockSize);
    const auto* const second = Map(mapping);
    mapping.reset();
    EXPECT_TRUE(UnmapViewOfFile(first));
    EXPECT_EQ(second[kBlockSize / 4 - 1], 0x07070707U);
    EXPECT_TRUE(UnmapViewOfFile(second));
    EXPECT_FALSE(UnmapViewOfFile(second));
}

TEST(ContractNamed, ManyMakersMakeOne) {
    const std::string prefix = UniquePrefix();
    const Owned go(CreateEventW(nullptr, TRUE, FALSE, Wide(prefix + "go").c_str()));
    const Owned end(CreateEventW(nullptr, TRUE, FALSE, Wide(prefix + "end").c_str()));
    std::vector<HostChild> racers;
    for (int i = 0; i < kRacers; ++i) {
        racers.push_back(HostChild::Start(RoleCommand("named-race", {prefix})));
    }
    SetEvent(go.get());
    const std::vector<Owned> made = MakeAll(prefix);
    SetEvent(end.get());
    for (HostChild& racer : racers) {
        EXPECT_EQ(racer.Wait(kLimit), 0);
    }
    for (const Owned& block : made) {
        EXPECT_EQ(Map(block)[0], kRacers);
        EXPECT_EQ(Map(block)[1], 1U);
    }
}

}  // namespace
