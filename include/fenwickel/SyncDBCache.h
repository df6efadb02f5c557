// The search engine: what the previous listing knew, held in memory under a digest of the path.
#pragma once

#include <cstdint>
#include <vector>

#include "fenwickel/SyncRecord.h"

// Number of buckets of a built engine. A power of two.
inline constexpr std::int32_t SYNC_DB_CACHE_BUCKETS = 32;

// How a file found now compares with the previous listing.
enum enSyncSearchResult : int {
    SYNC_SEARCH_NEW = 1,
    SYNC_SEARCH_UNCHANGED = 2,
    SYNC_SEARCH_CHANGED = 4,
};

// Key and attribute hash of one record.
struct stSyncDBCacheNode {
    std::uint8_t abyKey[16];    // MD5 (RFC 1321) of the path index and the path with its zero
    std::uint64_t ullAttrHash;  // MurmurHash64A, seed 0, of write time and size as stored
};

// What the engine holds under one key.
struct stSyncDBCacheValue {
    std::uint64_t ullAttrHash;
    std::uint8_t byState;  // an enSyncItemStatus
};

// An ordered map from key to value; its memory layout is private to the library.
class CSyncDBBucket;

// 32 ordered maps from a 16-byte key to a value. The first insert of a key wins.
//
// Ownership: the buckets belong to the engine until Destroy, which the owning database calls; the
// object itself frees nothing, so that a copy shares the buckets of its source.
//
// Threads: no lock; one thread at a time.
class CSyncDBCache {
public:
    CSyncDBCache() = default;

    // Makes the 32 empty buckets, destroying an engine built before. Always 0; throws
    // std::bad_alloc.
    int Init();

    // Makes room for about entryCount entries in all, so that a build does not move them. A hint:
    // wrong values cost memory or time, never correctness, and too large ones are ignored.
    void Reserve(std::uint64_t entryCount);

    // Adds an entry unless the key is already there. Throws std::bad_alloc.
    void Insert(const std::uint8_t key[16], std::uint64_t attrHash, std::uint8_t state);

    // The value under the key, or null. Valid until the next Insert, Init or Destroy. Throws
    // std::out_of_range before Init.
    stSyncDBCacheValue* Find(const std::uint8_t key[16]);

    // The state of a base record's entry. SYNC_EC_FAILED, with a message, when the record has none
    // or no engine is built.
    int SearchDelete(stSynFileDescOnUpload* record, std::uint8_t& state);

    // The same for a key that is known already.
    int SearchDeleteKey(const std::uint8_t key[16], std::uint8_t& state);

    // Asks the processor to fetch what Find of this key will look at. Nothing before Init.
    void Prefetch(const std::uint8_t key[16]);

    // True between Init and Destroy.
    bool IsBuilt() const { return m_pBuckets != nullptr; }

    // Frees everything. Harmless on an engine that is not built.
    void Destroy();

private:
    CSyncDBBucket& BucketOf(const std::uint8_t key[16]);
    static int FailedLookup();

    std::vector<CSyncDBBucket>* m_pBuckets = nullptr;  // owned until Destroy
    std::int32_t m_nBucketCount = 0;
};
