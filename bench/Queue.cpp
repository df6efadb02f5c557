// Handing found files from one thread to the next, beside a plain queue with a condition variable.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "detect/SyncQueueImpl.h"
#include "fenwickel/SyncQueue.h"

namespace {

constexpr int kCapacity = 1024;
constexpr int kItems = 200'000;
using Item = stSyncCheckQueueItem*;

class PlainQueue {
public:
    int Create(int) { return 0; }
    void Push(Item item) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_items.size() < kCapacity; });
        m_items.push_back(item);
        m_changed.notify_one();
    }
    Item Pop() {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return !m_items.empty(); });
        const Item item = m_items.front();
        m_items.pop_front();
        m_changed.notify_one();
        return item;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Item> m_items;
};

template <typename Queue>
void HandFilesToNextThread(benchmark::State& state) {
    Queue queue;
    if (queue.Create(kCapacity) != 0) {
        state.SkipWithError("no queue");
    }
    stSyncCheckQueueItem item;
    for (auto _ : state) {
        std::thread consumer([&queue] {
            for (int count = 0; count < kItems; ++count) {
                benchmark::DoNotOptimize(queue.Pop());
            }
        });
        for (int count = 0; count < kItems; ++count) {
            queue.Push(&item);
        }
        consumer.join();
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}
BENCHMARK(HandFilesToNextThread<CSyncQueue<Item>>)->UseRealTime();
BENCHMARK(HandFilesToNextThread<PlainQueue>)->UseRealTime();

}  // namespace
