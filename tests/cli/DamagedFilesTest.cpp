// Record files that are cut off or changed: nothing is lost, nothing reads as deleted.
#include "CliFixture.h"
#include "Listings.h"

namespace {

class DamagedFilesTest : public CliFixture {};

const std::string& Whole() {
    static const std::string bytes = FileBytes({{"a"}, {"b"}, {"long\\gone"}});
    return bytes;
}

// The second record begins at 554 and is 42 bytes long.
std::vector<std::string> Damaged() {
    std::vector<std::string> all;
    for (const std::size_t size : {1U, 511U, 512U, 513U, 553U, 554U, 595U, 596U, 600U}) {
        all.push_back(Whole().substr(0, size));
    }
    all.push_back(Whole().substr(0, Whole().size() - 1));
    all.push_back(Whole() + std::string(7, 'x'));
    const std::pair<std::size_t, char> flips[] = {{8, 2},        {8, 4},    {15, '\x80'}, {554, 0},
                                                  {554, 38},     {554, 43}, {555, 3},     {557, 1},
                                                  {594, '\x31'}, {592, 0}};
    for (const auto& [offset, value] : flips) {
        all.push_back(Whole());
        all.back()[offset] = value;
    }
    all.push_back(std::string(4096, '\xA5'));
    return all;
}

TEST_F(DamagedFilesTest, AreRefusedAsBaseAndAsListing) {
    for (const std::string& bytes : Damaged()) {
        WriteBytes("s/b", bytes);
        auto before = Files();
        const ToolResult run = Run(std::string("detect --json ") + kState + "tree");
        EXPECT_EQ(run.exitCode, 8) << bytes.size();
        EXPECT_NE(run.err.find("damaged at byte "), std::string::npos) << run.err;
        EXPECT_NE(run.out.find("\"result\":8,"), std::string::npos) << run.out;
        EXPECT_EQ(Run("dump s/b").exitCode, 8);
        before["./s/b.lock"];
        EXPECT_EQ(Files(), before);

        std::filesystem::rename("s/b", "s/s");
        WriteBytes("s/b", Whole());
        const bool foreign = bytes[0] != 0;
        EXPECT_EQ(Run(std::string("commit ") + kState).exitCode, foreign ? 2 : 1) << bytes.size();
        EXPECT_EQ(ReadBytes("s/b"), Whole());
        EXPECT_EQ(ReadBytes("s/s"), bytes);
        EXPECT_EQ(Run(std::string("discard ") + kState).exitCode, foreign ? 2 : 0) << bytes.size();
        EXPECT_EQ(std::filesystem::remove("s/s"), foreign);
    }
}

// What was not yet on the disk when the power failed.
TEST_F(DamagedFilesTest, LeftoversOfAPowerLossAreDiscarded) {
    for (const std::string& bytes : {std::string(3000, '\0'), std::string(5, '\0'),
                                     Whole().substr(0, 300), Whole().substr(0, 513)}) {
        WriteBytes("s/b", Whole());
        WriteBytes("s/s", bytes);
        WriteBytes("s/d", bytes);
        WriteBytes("s/b.lock", std::string(6, '\0'));
        EXPECT_EQ(Run(std::string("detect ") + kState + "tree").exitCode, 0) << bytes.size();
        EXPECT_EQ(Run(std::string("discard ") + kState).exitCode, 0);
    }
}

TEST_F(DamagedFilesTest, FilesOfOtherProgramsAreLeftAlone) {
    const std::pair<const char*, const char*> cases[] = {
        {"detect tree ", "s/s"}, {"detect tree ", "s/d"}, {"detect tree ", "s/b.lock"},
        {"discard ", "s/s"},     {"discard ", "s/d"},     {"discard ", "s/b.lock"},
        {"commit ", "s/b"},      {"commit ", "s/s"},      {"commit ", "s/b.lock"}};
    std::vector<std::string> foreign = {"diary", Whole(), Whole(), Whole()};
    foreign[1][511] = 'x';  // in the header
    foreign[2][512] = 39;   // the length of the first record
    foreign[3][552] = 'x';  // the end of its path
    for (const std::string& bytes : foreign) {
        for (const auto& [command, file] : cases) {
            for (const char* name : {"s/b", "s/s", "s/d"}) {
                WriteBytes(name, Whole());
            }
            WriteBytes("s/b.lock", "");
            WriteBytes(file, bytes);
            const auto before = Files();
            const ToolResult result = Run(std::string(command) + kState);
            EXPECT_EQ(result.exitCode, 2) << command << file;
            EXPECT_NE(result.err.find("name another"), std::string::npos) << result.err;
            EXPECT_EQ(Files(), before) << command << file;
        }
    }
}

TEST_F(DamagedFilesTest, DumpPrintsTheNumberOfAnUnknownStatus) {
    WriteBytes("s/b", FileBytes({{"a", 3}}));
    EXPECT_NE(Run("dump s/b").out.find("\n3  "), std::string::npos);
    EXPECT_EQ(Run("dump --json --status new,deleted s/b").out, "");
    EXPECT_NE(Run("dump --json s/b").out.find("\"status\":\"3\""), std::string::npos);
}

TEST_F(DamagedFilesTest, DumpPrintsTheRecordsBeforeTheDamage) {
    WriteBytes("s/b", Whole().substr(0, 596));
    const ToolResult result = Run("dump --json s/b");
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2);
    EXPECT_NE(result.err.find("the tail is cut off"), std::string::npos) << result.err;
}

TEST_F(DamagedFilesTest, ACommitCutShortBetweenItsStepsIsFinishedByTheNext) {
    WriteBytes("s/s", Whole());
    const ToolResult detect = Run(std::string("detect ") + kState + "tree");
    EXPECT_EQ(detect.exitCode, 1);
    EXPECT_NE(detect.err.find("finish it with fenwickel commit"), std::string::npos) << detect.err;
    EXPECT_EQ(ReadBytes("s/s"), Whole());
    EXPECT_EQ(Run(std::string("commit ") + kState).exitCode, 0);
    EXPECT_EQ(ReadBytes("s/b"), Whole());
    std::filesystem::rename("s/b", "s/s");
    const ToolResult discard = Run(std::string("discard ") + kState);
    EXPECT_NE(discard.out.find("every file is new"), std::string::npos) << discard.out;
}

TEST_F(DamagedFilesTest, ARunThatDidNotEndIsNotCommitted) {
    WriteBytes("s/b", Whole());
    WriteBytes("s/s", Whole());
    EXPECT_EQ(Run(std::string("commit ") + kState).exitCode, 1) << "no list of deleted files";
    WriteBytes("s/d", Whole().substr(0, 596));
    EXPECT_EQ(Run(std::string("commit ") + kState).exitCode, 1);
    EXPECT_EQ(ReadBytes("s/b") + ReadBytes("s/s"), Whole() + Whole());
}

}  // namespace
