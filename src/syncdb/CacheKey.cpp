#include "syncdb/CacheKey.h"

#include <cstring>

#include "syncdb/MurmurHash.h"

namespace {

constexpr std::size_t kAttributesOffset = offsetof(stSynFileDescOnUpload, dwWriteTimeHigh);
constexpr std::size_t kLongestMessage = 1 + SYNC_RECORD_MAX_SIZE - SYNC_RECORD_FIXED_SIZE;
constexpr std::size_t kMessageCapacity = Md5BlockCount(kLongestMessage) * kMd5BlockSize;

// The bytes that are digested: the path index, then the path with its terminating zero.
std::size_t BuildMessage(const stSynFileDescOnUpload* record, std::uint8_t* message) {
    const std::size_t pathBytes = record->nRecordSize - SYNC_RECORD_FIXED_SIZE;
    message[0] = record->byPathIndex;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(record);
    std::memcpy(message + 1, bytes + SYNC_RECORD_FIXED_SIZE, pathBytes);
    return 1 + pathBytes;
}

std::uint64_t AttributeHash(const stSynFileDescOnUpload* record) {
    return MurmurHash64A16(reinterpret_cast<const std::uint8_t*>(record) + kAttributesOffset);
}

}  // namespace

bool ComputeCacheKey(const stSynFileDescOnUpload* record, stSyncDBCacheNode& node) {
    if (record->nRecordSize < SYNC_RECORD_FIXED_SIZE ||
        record->nRecordSize > SYNC_RECORD_MAX_SIZE) {
        return false;
    }
    std::uint8_t message[kLongestMessage];
    const Md5Digest digest = Md5(message, BuildMessage(record, message));
    std::memcpy(node.abyKey, digest.data(), digest.size());
    node.ullAttrHash = AttributeHash(record);
    return true;
}

void ComputeCacheKeys(const stSynFileDescOnUpload* const* records, std::size_t recordCount,
                      stSyncDBCacheNode* nodes) {
    std::uint8_t buffers[kMd5Lanes][kMessageCapacity];
    const std::uint8_t* messages[kMd5Lanes];
    std::size_t blockCounts[kMd5Lanes];
    for (std::size_t lane = 0; lane < kMd5Lanes; ++lane) {
        // Lanes without a record repeat the last one.
        const stSynFileDescOnUpload* record = records[lane < recordCount ? lane : recordCount - 1];
        const std::size_t byteCount = BuildMessage(record, buffers[lane]);
        Md5Pad(buffers[lane], byteCount);
        messages[lane] = buffers[lane];
        blockCounts[lane] = Md5BlockCount(byteCount);
    }
    Md5Digest digests[kMd5Lanes];
    Md5Lanes(messages, blockCounts, digests);
    for (std::size_t i = 0; i < recordCount; ++i) {
        std::memcpy(nodes[i].abyKey, digests[i].data(), digests[i].size());
        nodes[i].ullAttrHash = AttributeHash(records[i]);
    }
}
