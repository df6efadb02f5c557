#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <thread>

#include "TestSupport.h"

namespace {

// A test that hangs fails instead.
constexpr DWORD kWatchdog = 60000;

DWORD Try(HANDLE object) {
    return WaitForSingleObject(object, 0);
}

template <typename Act>
DWORD FromOtherThread(Act act) {
    DWORD result = 0;
    std::thread([&] { result = act(); }).join();
    return result;
}

TEST(ContractSync, SemaphoreCountsToItsMaximum) {
    const HANDLE semaphore = CreateSemaphoreW(nullptr, 1, 3, nullptr);
    EXPECT_EQ(WaitForSingleObject(semaphore, INFINITE), WAIT_OBJECT_0);
    EXPECT_EQ(Try(semaphore), DWORD{WAIT_TIMEOUT});
    EXPECT_EQ(WaitForSingleObject(semaphore, 5), DWORD{WAIT_TIMEOUT});
    LONG previous = -1;
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 2, nullptr));
    EXPECT_FALSE(ReleaseSemaphore(semaphore, 2, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_TOO_MANY_POSTS);
    EXPECT_TRUE(ReleaseSemaphore(semaphore, 1, &previous));
    EXPECT_EQ(previous, 2);
    EXPECT_TRUE(CloseHandle(semaphore));
    EXPECT_EQ(CreateSemaphoreW(nullptr, 2, 1, nullptr), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Try(nullptr), WAIT_FAILED);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(ContractSync, MutexBelongsToOneThreadAsOftenAsItTakesIt) {
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, nullptr);
    const auto release = [&] { return ReleaseMutex(mutex) ? 0 : GetLastError(); };
    EXPECT_EQ(Try(mutex), WAIT_OBJECT_0);
    for (int owned = 2; owned > 0; --owned) {
        EXPECT_EQ(FromOtherThread([&] { return Try(mutex); }), DWORD{WAIT_TIMEOUT});
        EXPECT_EQ(FromOtherThread(release), ERROR_NOT_OWNER);
        EXPECT_EQ(release(), 0U);
    }
    EXPECT_EQ(release(), ERROR_NOT_OWNER);
    EXPECT_EQ(FromOtherThread([&] { return Try(mutex) + release(); }), WAIT_OBJECT_0);
    EXPECT_TRUE(CloseHandle(mutex));
}

TEST(ContractSync, EventStaysSetOrLetsOneThrough) {
    for (const bool manual : {true, false}) {
        const HANDLE event = CreateEventW(nullptr, manual, FALSE, nullptr);
        EXPECT_EQ(Try(event), DWORD{WAIT_TIMEOUT});
        EXPECT_TRUE(SetEvent(event) && SetEvent(event));
        EXPECT_EQ(Try(event), WAIT_OBJECT_0);
        EXPECT_EQ(Try(event), DWORD(manual ? WAIT_OBJECT_0 : WAIT_TIMEOUT));
        EXPECT_TRUE(SetEvent(event) && ResetEvent(event));
        EXPECT_EQ(Try(event), DWORD{WAIT_TIMEOUT});
        EXPECT_TRUE(CloseHandle(event));
    }
}

TEST(ContractSync, QueueBetweenThreadsLosesNothing) {
    constexpr int kItems = 3000;
    const HANDLE free = CreateSemaphoreW(nullptr, 4, 4, nullptr);
    const HANDLE filled = CreateSemaphoreW(nullptr, 0, 4, nullptr);
    const HANDLE lock = CreateMutexW(nullptr, FALSE, nullptr);
    std::deque<int> queue;
    long long sum = 0;
    const auto consume = [&] {
        for (int i = 0; i < kItems / 2; ++i) {
            ASSERT_EQ(WaitForSingleObject(filled, INFINITE), WAIT_OBJECT_0);
            ASSERT_EQ(WaitForSingleObject(lock, INFINITE), WAIT_OBJECT_0);
            sum += queue.front();
            queue.pop_front();
            ASSERT_TRUE(ReleaseMutex(lock) && ReleaseSemaphore(free, 1, nullptr));
        }
    };
    std::thread consumers[] = {std::thread(consume), std::thread(consume)};
    for (int i = 1; i <= kItems; ++i) {
        ASSERT_EQ(WaitForSingleObject(free, kWatchdog), WAIT_OBJECT_0);
        ASSERT_EQ(WaitForSingleObject(lock, INFINITE), WAIT_OBJECT_0);
        queue.push_back(i);
        ASSERT_TRUE(ReleaseMutex(lock) && ReleaseSemaphore(filled, 1, nullptr));
    }
    for (std::thread& consumer : consumers) {
        consumer.join();
    }
    EXPECT_EQ(sum, kItems * (kItems + 1LL) / 2);
    EXPECT_TRUE(CloseHandle(lock) && CloseHandle(filled) && CloseHandle(free));
}

TEST(ContractSync, WakesAWaiterHoweverDeepItSleeps) {
    const HANDLE ping = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const HANDLE pong = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    constexpr int kRounds = 60;
    std::thread waiter([&] {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_EQ(WaitForSingleObject(ping, INFINITE), WAIT_OBJECT_0);
            EXPECT_TRUE(SetEvent(pong));
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        std::this_thread::sleep_for(std::chrono::microseconds(i % 20 * 500));
        EXPECT_TRUE(SetEvent(ping));
        ASSERT_EQ(WaitForSingleObject(pong, kWatchdog), WAIT_OBJECT_0);
    }
    waiter.join();
    EXPECT_TRUE(CloseHandle(ping) && CloseHandle(pong));
}

}  // namespace
