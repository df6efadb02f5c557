#include "Detection.h"

namespace {

namespace fs = std::filesystem;

// Does something at one of the walk's questions. It asks once a folder, right before it opens it.
class ActingControl final : public JobControl {
public:
    ActingControl(int question, std::function<void()> act)
        : m_question(question), m_act(std::move(act)) {}

    bool IsStopRequested() override {
        if (--m_question == 0) {
            m_act();
        }
        return false;
    }

private:
    std::atomic<int> m_question;
    const std::function<void()> m_act;
};

// A folder becomes a link after the walk has seen it as a folder: what the link leads to is never
// listed. The walk stays in the folders that it has opened, and fails at a link.
TEST_F(Detection, ListsNothingBehindAFolderSwappedForALink) {
    Write("outside/secret");
    Write("outside/b/secret");
    const struct {
        int question;
        std::string swapped;
        int result;
        Expected listed;
    } cases[] = {
        {2, "tree/a", ERROR_DIRECTORY, {}},
        {3, "tree/a/b", ERROR_DIRECTORY, {}},
        {3, "tree/a", 0, {{"0:a\\b\\own", SYNC_ITEM_NEW}}},
        {3, "tree", 0, {{"0:a\\b\\own", SYNC_ITEM_NEW}}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.swapped + " at " + std::to_string(test.question));
        fs::remove_all(folder / "tree");
        fs::remove_all(folder / "moved");
        Write("tree/a/b/own");
        ActingControl acting(test.question, [&] {
            fs::rename(folder / test.swapped, folder / "moved");
            fs::create_directory_symlink(folder / "outside", folder / test.swapped);
        });
        CSyncDetectFileChange detector;
        std::vector<stPathPair> pairs{{Wide("meta"), folder.wide("tree") + WIDE("\\")}};
        stDetectFileChangeContext context = Context();
        context.pJobControl = &acting;
        detector.SetDetectMetaPath(pairs);
        ASSERT_EQ(detector.InitFileChangeDetector(context), 0);
        EXPECT_EQ(detector.GenerateSyncList(), test.result);
        EXPECT_TRUE(fs::is_symlink(folder / test.swapped));
        EXPECT_EQ(Statuses("syncing"), test.listed);
    }
}

TEST_F(Detection, WalksARootThatIsALink) {
    Write("elsewhere/a/own");
    fs::remove(folder / "tree");
    fs::create_directory_symlink(folder / "elsewhere", folder / "tree");
    EXPECT_EQ(Run(), 0);
    EXPECT_EQ(Statuses("syncing"), (Expected{{"0:a\\own", SYNC_ITEM_NEW}}));
}

}  // namespace
