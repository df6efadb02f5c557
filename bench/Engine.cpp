// The search engine alone, without files: keys of records, entering them, finding them. The
// baselines do the same with the ordered and the hashed map of the standard library.
#include <benchmark/benchmark.h>

#include <array>
#include <map>
#include <unordered_map>
#include <vector>

#include "Listing.h"
#include "fenwickel/SyncDBCache.h"
#include "syncdb/CacheKey.h"

namespace {

using Key = std::array<std::uint8_t, 16>;

struct LeadingBytes {
    std::size_t operator()(const Key& key) const {
        std::size_t value;
        std::memcpy(&value, key.data(), sizeof(value));
        return value;
    }
};

Key KeyOf(const std::uint8_t* bytes) {
    Key key;
    std::memcpy(key.data(), bytes, key.size());
    return key;
}

template <typename Map>
class MapEngine {
public:
    explicit MapEngine(std::size_t) {}
    void Insert(const stSyncDBCacheNode& node) {
        m_map.try_emplace(KeyOf(node.abyKey),
                          stSyncDBCacheValue{node.ullAttrHash, SYNC_ITEM_DELETED});
    }
    stSyncDBCacheValue* Find(const std::uint8_t* key) { return &m_map.find(KeyOf(key))->second; }

private:
    Map m_map;
};
using OrderedMap = MapEngine<std::map<Key, stSyncDBCacheValue>>;
using HashedMap = MapEngine<std::unordered_map<Key, stSyncDBCacheValue, LeadingBytes>>;

class Fenwickel {
public:
    explicit Fenwickel(std::size_t count) {
        m_cache.Init();
        m_cache.Reserve(count);
    }
    Fenwickel(const Fenwickel&) = delete;
    Fenwickel& operator=(const Fenwickel&) = delete;
    ~Fenwickel() { m_cache.Destroy(); }
    void Insert(const stSyncDBCacheNode& node) {
        m_cache.Insert(node.abyKey, node.ullAttrHash, SYNC_ITEM_DELETED);
    }
    stSyncDBCacheValue* Find(const std::uint8_t* key) { return m_cache.Find(key); }

private:
    CSyncDBCache m_cache;
};

std::vector<stSyncDBCacheNode> NodesOf(Listing& listing) {
    std::vector<stSyncDBCacheNode> nodes(listing.Count());
    for (std::size_t at = 0; at < nodes.size(); ++at) {
        ComputeCacheKey(listing.Record(at), nodes[at]);
    }
    return nodes;
}

template <typename Engine>
void Fill(Engine& engine, const std::vector<stSyncDBCacheNode>& nodes) {
    for (const auto& node : nodes) {
        engine.Insert(node);
    }
}

void KeyAndHashOfRecords(benchmark::State& state) {
    Listing listing(10'000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(NodesOf(listing));
    }
    state.SetItemsProcessed(state.iterations() * 10'000);
}
BENCHMARK(KeyAndHashOfRecords);

template <typename Engine>
void EnterEveryKnownFile(benchmark::State& state) {
    Listing listing(static_cast<std::size_t>(state.range()));
    const auto nodes = NodesOf(listing);
    for (auto _ : state) {
        Engine engine(nodes.size());
        Fill(engine, nodes);
        // The first lookup may have to finish the build.
        benchmark::DoNotOptimize(engine.Find(nodes[0].abyKey));
    }
    state.SetItemsProcessed(state.iterations() * state.range());
}

// In the order of the listing, as an unchanged tree gives them.
template <typename Engine>
void FindEveryKnownFile(benchmark::State& state) {
    Listing listing(static_cast<std::size_t>(state.range()));
    const auto nodes = NodesOf(listing);
    Engine engine(nodes.size());
    Fill(engine, nodes);
    for (auto _ : state) {
        for (const auto& node : nodes) {
            engine.Find(node.abyKey)->byState = SYNC_ITEM_UNCHANGED;
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range());
}

#define FOR_EVERY_ENGINE(name)                                                  \
    BENCHMARK(name<Fenwickel>)->RangeMultiplier(10)->Range(10'000, 1'000'000);  \
    BENCHMARK(name<OrderedMap>)->RangeMultiplier(10)->Range(10'000, 1'000'000); \
    BENCHMARK(name<HashedMap>)->RangeMultiplier(10)->Range(10'000, 1'000'000)
FOR_EVERY_ENGINE(EnterEveryKnownFile);
FOR_EVERY_ENGINE(FindEveryKnownFile);

}  // namespace
