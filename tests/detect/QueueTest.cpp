#include <gtest/gtest.h>

#include <atomic>
#include <new>
#include <set>
#include <thread>
#include <vector>

#include "detect/SyncQueueImpl.h"

namespace {

TEST(Queue, WaitsWhenFullAndWhenEmptyAndKeepsOrder) {
    CSyncQueue<int> queue;
    ASSERT_EQ(queue.Create(2), 0);
    std::atomic<int> pushed = 0;
    std::thread producer([&] {
        for (int i = 0; i < 5000; ++i) {
            queue.Push(i);
            ++pushed;
        }
    });
    for (int i = 0; i < 5000; ++i) {
        // Never more than two finished pushes ahead: the third waits for a place.
        EXPECT_LE(pushed, i + 2);
        EXPECT_EQ(queue.Pop(), i);
    }
    producer.join();
}

TEST(Queue, LosesAndDoublesNothingBetweenManyThreads) {
    CSyncQueue<int> queue;
    ASSERT_EQ(queue.Create(7), 0);
    constexpr int kThreads = 4;
    constexpr int kItems = 4000;
    std::vector<std::vector<int>> taken(kThreads);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kItems; ++i) {
                queue.Push(thread * kItems + i);
            }
        });
        threads.emplace_back([&, thread] {
            for (int i = 0; i < kItems; ++i) {
                taken[std::size_t(thread)].push_back(queue.Pop());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::set<int> all;
    for (const std::vector<int>& items : taken) {
        all.insert(items.begin(), items.end());
    }
    EXPECT_EQ(all.size(), std::size_t(kThreads * kItems));
}

// An item whose copy fails, as a string's does when memory runs out.
struct Uncopyable {
    explicit Uncopyable(bool fails = false) : m_fails(fails) {}
    Uncopyable(const Uncopyable& other) { *this = other; }
    Uncopyable& operator=(const Uncopyable& other) {
        m_fails = other.m_fails;
        return m_fails ? throw std::bad_alloc() : *this;
    }
    bool m_fails = false;
};

TEST(Queue, StaysAsItWasWhenAnItemCannotBeCopied) {
    CSyncQueue<Uncopyable> queue;
    ASSERT_EQ(queue.Create(1), 0);
    EXPECT_THROW(queue.Push(Uncopyable(true)), std::bad_alloc);
    std::thread other([&] { queue.Push(Uncopyable(false)); });
    EXPECT_FALSE(queue.Pop().m_fails);
    other.join();
}

TEST(Queue, StartsEmptyWhenMadeAgain) {
    CSyncQueue<int> queue;
    ASSERT_EQ(queue.Create(1), 0);
    queue.Push(1);
    ASSERT_EQ(queue.Create(2), 0);
    queue.Push(2);
    queue.Push(3);
    EXPECT_EQ(queue.Pop(), 2);
}

}  // namespace
