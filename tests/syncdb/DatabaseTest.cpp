#include <gtest/gtest.h>

#include "CapturedLog.h"
#include "JobControl.h"
#include "Listings.h"
#include "fenwickel/SyncFileDatabase.h"

namespace {

// The three files of a synchronisation in a folder of their own.
class Database : public testing::Test {
protected:
    void Configure(CSyncFileDatabase& database, ISyncJobControl* control = nullptr) {
        stSyncFileDbContext context{folder.wide("base"), folder.wide("syncing"),
                                    folder.wide("deleted"), control};
        ASSERT_EQ(database.SetDBContext(context), 0);
    }

    // One run over the given files; the result of each lookup in order.
    std::vector<int> Run(const std::vector<Row>& files, ISyncJobControl* control = nullptr) {
        CSyncFileDatabase database;
        Configure(database, control);
        EXPECT_EQ(database.InitSyncFileDB(), 0);
        std::vector<int> results;
        for (const Row& row : files) {
            Record record(row);
            enSyncSearchResult result{};
            EXPECT_EQ(database.SearchUpdateFile(record.get(), result), 0);
            EXPECT_EQ(database.StoreFileRecord(record.get()), 0);
            results.push_back(result);
        }
        EXPECT_EQ(database.FlushDB(), 0);
        EXPECT_EQ(database.GenerateListofDeletedItem(), 0);
        EXPECT_EQ(database.CloseAllDBs(), 0);
        return results;
    }

    std::string Bytes(const char* name) { return ReadBytes(folder / name); }

    const TempFolder folder;
};

TEST_F(Database, FirstRunFindsEverythingNewAndCommits) {
    const std::vector<Row> files = {{.path = "a"}, {.path = "dir\\b"}};
    EXPECT_EQ(Run(files), (std::vector<int>{SYNC_SEARCH_NEW, SYNC_SEARCH_NEW}));
    EXPECT_EQ(Bytes("base"), "");
    EXPECT_EQ(Bytes("syncing"), FileBytes(files));
    EXPECT_EQ(Bytes("deleted"), FileBytes({}));
    CSyncFileDatabase database;
    Configure(database);
    CapturedLog log;
    EXPECT_EQ(database.TakeEffectNewSyncDB(), 0);
    EXPECT_EQ(Bytes("base"), FileBytes(files));
    EXPECT_EQ(Bytes("deleted"), FileBytes({}));
    EXPECT_EQ(database.TakeEffectNewSyncDB(), 0);
    EXPECT_EQ(Bytes("base"), FileBytes(files));
    EXPECT_EQ(log.Lines().back(), "[SYNC]:[CSyncFileDatabase::TakeEffectNewSyncDB]:file:[" +
                                      Narrow(folder.wide("syncing")) + "] is not exist.");
    log.Restart();
    EXPECT_EQ(database.CloseAllDBs(), 0);
    EXPECT_TRUE(log.Lines().empty());
}

TEST_F(Database, TellsNewChangedUnchangedAndDeletedApart) {
    const Row gone{.path = "gone", .size = 7, .pathIndex = 9};
    Run({{.path = "same"}, {.path = "time"}, {.path = "size"}, gone, {.path = "Case"}, gone});
    std::filesystem::rename(folder / "syncing", folder / "base");
    const std::vector<Row> files = {{.path = "same", .createTime = 1, .accessTime = 2},
                                    {.path = "time", .writeTime = 5},
                                    {.path = "size", .size = 1ULL << 32 | 1},
                                    {.path = "case"},
                                    {.path = "gone", .pathIndex = 8},
                                    {.path = "case"}};
    CapturedLog log;
    EXPECT_EQ(Run(files),
              (std::vector<int>{SYNC_SEARCH_UNCHANGED, SYNC_SEARCH_CHANGED, SYNC_SEARCH_CHANGED,
                                SYNC_SEARCH_NEW, SYNC_SEARCH_NEW, SYNC_SEARCH_UNCHANGED}));
    Row deleted = gone;
    Row deletedCase{.path = "Case"};
    deleted.status = deletedCase.status = SYNC_ITEM_DELETED;
    EXPECT_EQ(Bytes("deleted"), FileBytes({deleted, deletedCase, deleted}));
    const std::string dump = "[SYNC]:[CSyncFileDatabase::DumpDeleteItemList] ";
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{
                  "[SYNC]:[CSyncFileDatabase::BuildSearchEngine]:succeed to build "
                  "memory search engine.",
                  dump + "start to detect deleted item.", dump + "read the end of base database.",
                  dump + "end detect deleted item, the number is:[3]."}));
}

TEST_F(Database, ForcesKnownFilesOnlyAndAsksOncePerKnownFile) {
    Run({{.path = "a"}, {.path = "b"}});
    std::filesystem::rename(folder / "syncing", folder / "base");
    JobControl control;
    control.forceAll = true;
    EXPECT_EQ(Run({{.path = "a"}, {.path = "b"}, {.path = "c"}}, &control),
              (std::vector<int>{SYNC_SEARCH_CHANGED, SYNC_SEARCH_CHANGED, SYNC_SEARCH_NEW}));
    EXPECT_EQ(control.forceCalls, 2);
    EXPECT_EQ(RowsOf(Bytes("deleted")).size(), 0U);
}

TEST_F(Database, KeepsTheFirstOfTwoEqualBaseRecords) {
    WriteBytes(folder / "base", FileBytes({{.path = "a", .size = 1}, {.path = "a", .size = 2}}));
    EXPECT_EQ(Run({{.path = "a", .size = 2}, {.path = "a", .size = 1}, {.path = "a", .size = 2}}),
              (std::vector<int>{SYNC_SEARCH_CHANGED, SYNC_SEARCH_UNCHANGED, SYNC_SEARCH_CHANGED}));
}

TEST_F(Database, DropsRecordsOfAnEarlierRunAndDiscards) {
    const std::vector<Row> old(5, Row{.path = "old"});
    WriteBytes(folder / "syncing", FileBytes(old));
    WriteBytes(folder / "deleted", FileBytes(old));
    WriteBytes(folder / "base", FileBytes({{.path = "gone"}}));
    Run({{.path = "new"}});
    EXPECT_EQ(RowsOf(Bytes("syncing")), std::vector<Row>{{.path = "new"}});
    EXPECT_EQ(RowsOf(Bytes("deleted")), (std::vector<Row>{{.path = "gone", .status = 1}}));
    EXPECT_EQ(Bytes("syncing")[8], 6) << "the stored count goes on";
    CSyncFileDatabase database;
    Configure(database);
    EXPECT_EQ(database.RemoveChangedDB(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "syncing"));
    EXPECT_FALSE(std::filesystem::exists(folder / "deleted"));
    EXPECT_EQ(database.RemoveChangedDB(), 0);
    EXPECT_EQ(Bytes("base"), FileBytes({{.path = "gone"}}));
}

TEST_F(Database, BuildsAgainOverAnEarlierEngine) {
    WriteBytes(folder / "base", FileBytes({{.path = "a"}}));
    CSyncFileDatabase database;
    Configure(database);
    Record record(Row{.path = "b"});
    enSyncSearchResult result{};
    EXPECT_EQ(database.SearchUpdateFile(record.get(), result), SYNC_EC_FAILED);
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(database.InitSyncFileDB(), 0);
        EXPECT_EQ(database.SearchUpdateFile(record.get(), result), 0);
        EXPECT_EQ(result, SYNC_SEARCH_NEW);
        EXPECT_EQ(database.CloseAllDBs(), 0);
    }
    record.get()->nRecordSize = 560;
    EXPECT_EQ(database.SearchUpdateFile(record.get(), result), SYNC_EC_FAILED);
}

// The base file changes between the build and the deletion pass.
TEST_F(Database, FailsOnABaseRecordThatTheEngineDoesNotKnow) {
    WriteBytes(folder / "base", FileBytes({{.path = "a"}}));
    CSyncFileDatabase database;
    Configure(database);
    CapturedLog log;
    EXPECT_EQ(database.GenerateListofDeletedItem(), SYNC_EC_FAILED) << "no engine";
    ASSERT_EQ(database.InitSyncFileDB(), 0);
    WriteBytes(folder / "base", FileBytes({{.path = "a"}, {.path = "b"}}));
    log.Restart();
    EXPECT_EQ(database.GenerateListofDeletedItem(), SYNC_EC_FAILED);
    const std::string dump = "[SYNC]:[CSyncFileDatabase::DumpDeleteItemList]";
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{
                  dump + " start to detect deleted item.",
                  "[SYNC]:[CSyncDBCache::SearchDelete]:find the corrupted item or memory db.",
                  dump + ": failed to search item.EC:[-1].",
                  dump + " end detect deleted item, the number is:[1].",
                  "[SYNC]:[CSyncFileDatabase::GenerateListofDeletedItem]:failed to dump deleteable "
                  "list.EC:[-1]."}));
}

}  // namespace
