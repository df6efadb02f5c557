#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>

#include "syncdb/SyncDBBucket.h"

namespace {

using Key = std::array<std::uint8_t, 16>;

// Runs the bucket beside a map: same first insert wins, same answers, same order.
void CompareWithMap(int keyCount, std::size_t reserved, int varyingByte, unsigned varyingMask) {
    SCOPED_TRACE(testing::Message() << keyCount << " keys, varying from byte " << varyingByte);
    std::mt19937 random(7);
    const auto nextKey = [&] {
        Key key{};
        for (std::size_t i = std::size_t(varyingByte); i < key.size(); ++i) {
            key[i] = std::uint8_t(random() & varyingMask);
        }
        return key;
    };
    CSyncDBBucket bucket;
    bucket.Reserve(reserved);
    std::map<Key, std::uint64_t> expected;
    for (int i = 0; i < keyCount; ++i) {
        const Key key = nextKey();
        expected.emplace(key, i);
        bucket.Insert(key.data(), std::uint64_t(i), 1);
    }
    EXPECT_EQ(bucket.Size(), expected.size());
    auto next = expected.begin();
    bucket.ForEach([&](const CSyncDBBucket::Entry& entry) {
        ASSERT_NE(next, expected.end());
        EXPECT_EQ(std::memcmp(entry.abyKey, next->first.data(), 16), 0);
        EXPECT_EQ(entry.value.ullAttrHash, next->second);
        ++next;
    });
    EXPECT_EQ(next, expected.end());
    for (int i = 0; i < 1000; ++i) {
        const Key key = nextKey();
        EXPECT_EQ(bucket.Find(key.data()) != nullptr, expected.count(key) != 0);
    }
}

TEST(Bucket, BehavesLikeAnOrderedMap) {
    CompareWithMap(20000, 0, 0, 0xFF);    // evenly spread, growing
    CompareWithMap(5000, 5000, 0, 0xFF);  // into reserved room
    CompareWithMap(5000, 0, 0, 0x03);     // many equal keys and long runs
    CompareWithMap(2000, 100, 8, 0xFF);   // all crowded on one slot
    CompareWithMap(0, 10, 0, 0xFF);
    Key last;
    last.fill(0xFF);
    CSyncDBBucket bucket;
    EXPECT_EQ(bucket.Find(last.data()), nullptr);
    bucket.Insert(last.data(), 5, 2);
    EXPECT_EQ(bucket.Find(last.data())->ullAttrHash, 5U);
}

TEST(Engine, AnswersOnlyWhenBuilt) {
    const Key key{};
    CSyncDBCache cache;
    try {
        cache.Find(key.data());
        FAIL() << "no error";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid vector subscript");
    }
    cache.Init();
    cache.Insert(key.data(), 1, 4);
    cache.Insert(key.data(), 2, 8);
    EXPECT_EQ(cache.Find(key.data())->ullAttrHash, 1U);
    EXPECT_EQ(cache.Find(key.data())->byState, 4);
    cache.Init();
    EXPECT_EQ(cache.Find(key.data()), nullptr);
    cache.Destroy();
    EXPECT_FALSE(cache.IsBuilt());
}

}  // namespace
