#include "Detection.h"

// Not on Windows, where the temporary folder in front makes such paths longer than the system
// takes.
namespace {

TEST_F(Detection, RecordsPathsOf259UnitsAndFailsAt260) {
    const std::string part(83, 'd');
    const std::string deep = part + "/" + part + "/" + part + "/";  // 252 units
    Write("tree/" + deep + "7777777");
    ASSERT_EQ(Run(), 0);
    const std::vector<Row> rows = RowsOf(ReadBytes(folder / "syncing"));
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].path.size(), 259U);
    Write("tree/" + deep + "88888888");
    CapturedLog log;
    EXPECT_EQ(Run(), SYNC_EC_PATH_TOO_LONG);
    EXPECT_TRUE(
        log.Contains("[SYNC]:[CSyncDetectFileChange::CheckFileChangeThreadImpl]:The file "
                     "name too long.["));
    EXPECT_TRUE(log.Contains("\\:88888888]."));
}

// The folder alone is too long for the check stage's item.
TEST_F(Detection, FailsOnAFileInAFolderTooLongToRecord) {
    const std::string part(99, 'd');
    Write("tree/" + part + "/" + part + "/" + part + "/f");
    Write("tree/" + part + "/" + part + "/" + part + "/g");
    CapturedLog log;
    EXPECT_EQ(Run(), SYNC_EC_PATH_TOO_LONG);
    EXPECT_TRUE(
        log.Contains("[SYNC]:[CSyncDetectFileChange::HandleOneItem]:The file name too "
                     "long.["));
}

}  // namespace
