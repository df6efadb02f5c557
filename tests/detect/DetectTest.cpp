#include "Detection.h"

namespace {

TEST_F(Detection, ReportsWhatChangedBetweenTwoRuns) {
    for (const char* name : {"same", "dir\\deep\\changed", "gone", "dir\\touched"}) {
        std::string path = std::string("tree/") + name;
        std::replace(path.begin(), path.end(), '\\', '/');
        Write(path);
    }
    std::filesystem::create_directory(folder / "tree/empty");
    ASSERT_EQ(Run(), 0);
    EXPECT_EQ(
        Statuses("syncing"),
        (Expected{
            {"0:same", 2}, {"0:dir\\deep\\changed", 2}, {"0:gone", 2}, {"0:dir\\touched", 2}}));
    EXPECT_EQ(ReadBytes(folder / "deleted"), FileBytes({}));
    EXPECT_EQ(ReadBytes(folder / "syncing")[8], 4);
    Commit();

    Write("tree/dir/deep/changed", "longer content");
    const auto touched = folder / "tree/dir/touched";
    std::filesystem::last_write_time(
        touched, std::filesystem::last_write_time(touched) + std::chrono::seconds(2));
    std::filesystem::remove(folder / "tree/gone");
    Write("tree/empty/new");
    ASSERT_EQ(Run(), 0);
    EXPECT_EQ(Statuses("syncing"), (Expected{{"0:same", 8},
                                             {"0:dir\\deep\\changed", 4},
                                             {"0:dir\\touched", 4},
                                             {"0:empty\\new", 2}}));
    EXPECT_EQ(Statuses("deleted"), (Expected{{"0:gone", 1}}));
    EXPECT_EQ(control.errorCalls, 0);
}

TEST_F(Detection, RecordsSizeAndTimesOfTheFile) {
    Write("tree/f", std::string(1234, 'x'));
    // Whole seconds, which every file system keeps: 2021-03-04 05:06:07 UTC.
    const auto unixTime = std::chrono::sys_seconds(std::chrono::seconds(1614834367));
    std::filesystem::last_write_time(folder / "tree/f",
                                     std::chrono::file_clock::from_sys(unixTime));
    ASSERT_EQ(Run(), 0);
    const std::vector<Row> rows = RowsOf(ReadBytes(folder / "syncing"));
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].size, 1234U);
    EXPECT_EQ(rows[0].writeTime, 10000000ULL * (1614834367ULL + 11644473600ULL));
    EXPECT_GT(rows[0].createTime, 0U);
    EXPECT_GT(rows[0].accessTime, 0U);
}

TEST_F(Detection, KeepsPairsApartAndSkipsIgnoredTopFolders) {
    for (const char* root : {"tree", "two", "three", "four"}) {
        for (const char* name : {"/skip/a", "/deep/skip/b", "/f"}) {
            Write(root + std::string(name));
        }
    }
    ignored = {{0, {Wide("x"), Wide("skip")}},
               {1, {Wide("SKIP")}},
               {2, {Wide("f"), Wide("deep")}},
               {9, {Wide("deep")}}};
    ASSERT_EQ(Run({"tree", "two", "three", "four"}), 0);
    const std::map<std::string, int> found = Statuses("syncing");
    EXPECT_EQ(found.size(), 2U + 3U + 2U + 3U);
    EXPECT_EQ(found.count("0:skip\\a") + found.count("2:deep\\skip\\b"), 0U);
    EXPECT_EQ(found.count("0:deep\\skip\\b") + found.count("1:skip\\a") + found.count("2:f"), 3U);
}

TEST_F(Detection, WalksNothingWithoutPairs) {
    WriteBytes(folder / "base", FileBytes({{.path = "a"}}));
    ASSERT_EQ(Run({}), 0);
    EXPECT_EQ(ReadBytes(folder / "syncing"), FileBytes({}));
    EXPECT_EQ(Statuses("deleted"), (Expected{{"0:a", 1}}));
}

TEST_F(Detection, WalksManyFilesThroughItsPools) {
    constexpr std::size_t kFiles = 1100;  // more than a pool holds
    for (std::size_t i = 0; i < kFiles; ++i) {
        Write("tree/" + std::to_string(i), "");
    }
    CSyncDetectFileChange detector;
    for (int run = 0; run < 2; ++run) {
        ASSERT_TRUE(Prepare(detector, {"tree"}));
        ASSERT_EQ(detector.GenerateSyncList(), 0);
        EXPECT_EQ(Statuses("syncing").size(), kFiles);
        ASSERT_EQ(detector.GenerateSyncList(), 0) << "again on the same detector";
        EXPECT_EQ(Statuses("syncing").size(), kFiles);
    }
    EXPECT_EQ(detector.RemoteChangedDB(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "syncing"));
    ASSERT_EQ(detector.GenerateSyncList(), 0);
    const std::string again = ReadBytes(folder / "syncing");
    EXPECT_EQ(again.substr(8, 3), std::string("\x4C\x04\0", 3)) << "counts from 0 again";
}

TEST_F(Detection, FailsOnAFolderThatIsMissing) {
    WriteBytes(folder / "base", FileBytes({{.path = "a"}}));
    Write("tree/f");
    for (const char* root : {"none", "none/below"}) {
        CapturedLog log;
        EXPECT_EQ(Run({"tree", root, "tree"}), 3);
        EXPECT_EQ(control.firstError.exchange(0), 3);
        EXPECT_TRUE(log.Contains(
            "[SYNC]:[CSyncDetectFileChange::TraverseSnapshotFolder]:failed to find first:[" +
            Narrow(folder.wide(root)) + "\\*.*].EC:[3]."));
        EXPECT_FALSE(std::filesystem::exists(folder / "deleted"));
    }
}

TEST_F(Detection, RefusesCallsOutOfOrder) {
    CSyncDetectFileChange detector;
    EXPECT_EQ(detector.RemoteChangedDB(), 0);
    EXPECT_EQ(detector.GenerateSyncList(), SYNC_EC_FAILED);
    stDetectFileChangeContext context = Context();
    context.pJobControl = nullptr;
    EXPECT_EQ(detector.InitFileChangeDetector(context), SYNC_EC_FAILED);
    EXPECT_EQ(detector.GenerateSyncList(), SYNC_EC_FAILED);
    EXPECT_FALSE(std::filesystem::exists(folder / "base"));
}

TEST_F(Detection, FailsWithoutTheFolderOfTheBaseFile) {
    stDetectFileChangeContext context = Context();
    context.strBaseDBPath = folder.wide("none") + WIDE("\\base");
    CSyncDetectFileChange detector;
    ASSERT_EQ(detector.InitFileChangeDetector(context), 0);
    CapturedLog log;
    EXPECT_EQ(detector.GenerateSyncList(), 3);
    const std::vector<std::string> lines = log.Lines();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[2], "[SYNC]:[CSyncFileDatabase::InitSyncFileDB]:failed to open base db file:[" +
                            Narrow(context.strBaseDBPath) + "].EC:[3].");
    EXPECT_EQ(lines[3],
              "[SYNC]:[CSyncDetectFileChange::GenerateSyncList]:failed to initialize "
              "sync db.EC:[3].");
}

}  // namespace
