#include "fenwickel/SyncDBCache.h"

#include <cstring>
#include <new>
#include <stdexcept>

#include "dbglog/DbgLogger.h"
#include "fenwickel/SyncCodes.h"
#include "syncdb/CacheKey.h"
#include "syncdb/SyncDBBucket.h"

int CSyncDBCache::Init() {
    Destroy();
    m_pBuckets = new std::vector<CSyncDBBucket>(SYNC_DB_CACHE_BUCKETS);
    m_nBucketCount = SYNC_DB_CACHE_BUCKETS;
    return 0;
}

void CSyncDBCache::Reserve(std::uint64_t entryCount) {
    // A sixteenth more than the mean: digests do not fill the buckets exactly alike.
    const std::uint64_t mean = entryCount / SYNC_DB_CACHE_BUCKETS;
    try {
        for (CSyncDBBucket& bucket : *m_pBuckets) {
            bucket.Reserve(static_cast<std::size_t>(mean + mean / 16));
        }
    } catch (const std::bad_alloc&) {
        // A file may promise more records than it holds; the buckets grow by themselves.
        return;
    }
}

void CSyncDBCache::Destroy() {
    delete m_pBuckets;
    m_pBuckets = nullptr;
    m_nBucketCount = 0;
}

CSyncDBBucket& CSyncDBCache::BucketOf(const std::uint8_t key[16]) {
    std::int32_t tail;
    std::memcpy(&tail, key + 12, sizeof tail);
    const auto number = static_cast<std::size_t>(tail & (m_nBucketCount - 1));
    if (m_pBuckets == nullptr || number >= m_pBuckets->size()) {
        throw std::out_of_range("invalid vector subscript");
    }
    return (*m_pBuckets)[number];
}

void CSyncDBCache::Insert(const std::uint8_t key[16], std::uint64_t attrHash, std::uint8_t state) {
    BucketOf(key).Insert(key, attrHash, state);
}

stSyncDBCacheValue* CSyncDBCache::Find(const std::uint8_t key[16]) {
    return BucketOf(key).Find(key);
}

void CSyncDBCache::Prefetch(const std::uint8_t key[16]) {
    if (IsBuilt()) {
        BucketOf(key).Prefetch(key);
    }
}

int CSyncDBCache::SearchDelete(stSynFileDescOnUpload* record, std::uint8_t& state) {
    stSyncDBCacheNode node;
    if (!ComputeCacheKey(record, node)) {
        return FailedLookup();
    }
    return SearchDeleteKey(node.abyKey, state);
}

int CSyncDBCache::SearchDeleteKey(const std::uint8_t key[16], std::uint8_t& state) {
    const stSyncDBCacheValue* value = IsBuilt() ? Find(key) : nullptr;
    if (value == nullptr) {
        return FailedLookup();
    }
    state = value->byState;
    return 0;
}

int CSyncDBCache::FailedLookup() {
    return LogFailure(SYNC_EC_FAILED, WIDE("[SYNC]:[%s]:find the corrupted item or memory db."),
                      WIDE("CSyncDBCache::SearchDelete"));
}
