#include "Detection.h"

namespace {

// Stops at every question in turn: whenever it comes, the run ends with the code, the base file is
// untouched, nothing is called deleted, and the detector can run again.
TEST_F(Detection, StopsWheneverItIsTold) {
    for (int i = 0; i < 6; ++i) {
        Write("tree/dir" + std::to_string(i % 3) + "/file" + std::to_string(i));
    }
    const std::string base = FileBytes({{.path = "gone"}});
    WriteBytes(folder / "base", base);
    CSyncDetectFileChange detector;
    ASSERT_TRUE(Prepare(detector, {"tree", "tree"}));
    int question = 0;
    for (int result = SYNC_EC_STOPPED; result != 0; ++question) {
        SCOPED_TRACE(question);
        ASSERT_LT(question, 1000);
        control.questionsBeforeStop = question;
        control.firstError = 0;
        control.errorCalls = 0;
        CapturedLog log;
        result = detector.GenerateSyncList();
        EXPECT_TRUE(result == SYNC_EC_STOPPED || result == 0);
        EXPECT_EQ(ReadBytes(folder / "base"), base);
        const bool isLate = log.Contains(
            "[SYNC]:[CSyncDetectFileChange::GenerateSyncList]:detect the stop event before "
            "generate the deletion DB.");
        EXPECT_EQ(isLate, result != 0 && control.errorCalls == 0);
        EXPECT_EQ(std::filesystem::exists(folder / "deleted"), result == 0);
    }
    // Folders of two trees, two questions a file, one before the deletions.
    EXPECT_EQ(question, 2 * (4 + 2 * 6) + 1 + 1);
    EXPECT_EQ(Statuses("syncing").size(), 12U);
}

TEST_F(Detection, DiscardsEveryQueuedFileOnceAfterAStop) {
    for (int i = 0; i < 50; ++i) {
        Write("tree/" + std::to_string(i));
    }
    control.questionsBeforeStop = 1;  // the folder is entered, then everything stops
    EXPECT_EQ(Run(), SYNC_EC_STOPPED);
    EXPECT_EQ(control.errorCalls, 50) << "one call a discarded file";
    EXPECT_TRUE(Statuses("syncing").empty());
}

TEST_F(Detection, EndsWithAnErrorThatTheHostRecorded) {
    Write("tree/f");
    control.firstError = 77;
    CapturedLog log;
    EXPECT_EQ(Run(), 77);
    EXPECT_EQ(ReadBytes(folder / "syncing"), "");
    EXPECT_FALSE(std::filesystem::exists(folder / "deleted"));
    EXPECT_FALSE(log.Contains("EC:[77]"));
}

}  // namespace
