#include <gtest/gtest.h>

#include <random>

#include "Listings.h"
#include "syncdb/CacheKey.h"
#include "syncdb/Md5.h"

namespace {

std::string Hex(const std::uint8_t* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

TEST(Md5, GivesThePublishedDigests) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto& [message, digest] : cases) {
        EXPECT_EQ(Hex(Md5(message.data(), message.size()).data(), 16), digest) << message;
    }
}

TEST(CacheKey, IsDigestOfIndexAndPathAndHashOfTimeAndSize) {
    Row row{.path = "dir\\a.txt", .status = 8, .size = 1234, .pathIndex = 3};
    stSyncDBCacheNode node;
    ASSERT_TRUE(ComputeCacheKey(Record(row).get(), node));
    EXPECT_EQ(Hex(node.abyKey, 16), "58770b5b8afba2776fbdb1844d20766c");
    EXPECT_EQ(node.ullAttrHash, 0x304450ddf8305d10U);
}

// Eight side by side must agree with one by one, whatever the mix of lengths and the group's size.
TEST(CacheKey, IsTheSameInGroups) {
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        std::vector<Record> records;
        for (std::size_t i = 0; i <= random() % kMd5Lanes; ++i) {
            records.emplace_back(Row{.path = std::string(random() % 260, 'p'),
                                     .size = random(),
                                     .pathIndex = int(random() % 256)});
        }
        std::vector<stSynFileDescOnUpload*> pointers;
        for (Record& record : records) {
            pointers.push_back(record.get());
        }
        stSyncDBCacheNode group[kMd5Lanes];
        ComputeCacheKeys(pointers.data(), pointers.size(), group);
        for (std::size_t i = 0; i < pointers.size(); ++i) {
            stSyncDBCacheNode single;
            ASSERT_TRUE(ComputeCacheKey(pointers[i], single));
            EXPECT_EQ(Hex(group[i].abyKey, 16), Hex(single.abyKey, 16));
            EXPECT_EQ(group[i].ullAttrHash, single.ullAttrHash);
        }
    }
}

TEST(CacheKey, RefusesRecordsThatDoNotFit) {
    Record record(Row{.path = "a"});
    stSyncDBCacheNode node;
    for (const std::uint32_t size : {0U, 37U, 559U, 0xFFFFFFFFU}) {
        record.get()->nRecordSize = size;
        EXPECT_FALSE(ComputeCacheKey(record.get(), node)) << size;
    }
}

}  // namespace
