#include <gtest/gtest.h>

#include "CapturedLog.h"
#include "Listings.h"
#include "fenwickel/SyncFileDatabase.h"

namespace {

// A run on a damaged base fails before it can call anything deleted.
TEST(DamagedBase, FailsTheRun) {
    const std::string good = FileBytes({{.path = "first"}, {.path = "victim"}, {.path = "last"}});
    const std::size_t victim = 512 + 50;
    const struct {
        const char* what;
        std::size_t offset;
        std::string bytes;
    } cases[] = {
        {"shorter than its fixed part", 0, std::string("\x25\0\0\0", 4)},
        {"without room for a terminator", 0, std::string("\x26\0\0\0", 4)},
        {"of odd size", 0, std::string("\x33\0\0\0", 4)},
        {"without a terminator", 50, "x"},
        {"with half a terminator", 51, "x"},
        {"with a zero inside its path", 40, std::string("\0", 1)},
        {"that swallows the next one", 0, std::string("\x64\0\0\0", 4)},
        {"longer than the longest", 0, std::string("\x58\x02\0\0", 4)},
        {"longer than the file", 0, std::string("\0\0\x01\0", 4)},
        {"of the longest length there is", 0, "\xff\xff\xff\xff"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const TempFolder folder;
        std::string bytes = good;
        bytes.replace(victim + c.offset, c.bytes.size(), c.bytes);
        WriteBytes(folder / "base", bytes);
        CSyncFileDatabase database;
        stSyncFileDbContext context{folder.wide("base"), folder.wide("syncing"),
                                    folder.wide("deleted"), nullptr};
        database.SetDBContext(context);
        CapturedLog log;
        EXPECT_EQ(database.InitSyncFileDB(), SYNC_EC_FAILED);
        EXPECT_TRUE(log.Contains("offset:[562]"));
        EXPECT_EQ(database.GenerateListofDeletedItem(), SYNC_EC_FAILED);
        EXPECT_EQ(RowsOf(ReadBytes(folder / "deleted")).size(), 0U);
        EXPECT_EQ(ReadBytes(folder / "base"), bytes);
    }
}

// A whole listing behind a length that swallows it is damage, however possible the length.
TEST(DamagedBase, IsNoEndWithMoreThanARecordBehindIt) {
    const TempFolder folder;
    std::string bytes = FileBytes(std::vector<Row>(100, Row{.path = "known"}));
    bytes.replace(512, 4, std::string("\0\0\x01\0", 4));
    WriteBytes(folder / "base", bytes);
    CSyncFileDatabase database;
    stSyncFileDbContext context{folder.wide("base"), folder.wide("syncing"), folder.wide("deleted"),
                                nullptr};
    database.SetDBContext(context);
    EXPECT_EQ(database.InitSyncFileDB(), SYNC_EC_FAILED);
    // A tail cut off ends the records.
    WriteBytes(folder / "base", FileBytes({{.path = "known"}, {.path = "cut"}}).substr(0, 600));
    EXPECT_EQ(database.InitSyncFileDB(), 0) << "again, without closing";
    EXPECT_EQ(database.GenerateListofDeletedItem(), 0);
    EXPECT_EQ(RowsOf(ReadBytes(folder / "deleted")).size(), 1U);
}

TEST(DamagedBase, LongerThanTheLongestRecordIsRefused) {
    const TempFolder folder;
    WriteBytes(folder / "base", FileBytes({{.path = std::string(260, 'x')}}));
    CSyncFileDatabase database;
    stSyncFileDbContext context{folder.wide("base"), folder.wide("syncing"), folder.wide("deleted"),
                                nullptr};
    database.SetDBContext(context);
    EXPECT_EQ(database.InitSyncFileDB(), SYNC_EC_FAILED);
}

}  // namespace
