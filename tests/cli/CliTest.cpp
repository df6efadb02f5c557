// The commands together, as a user runs them.
#include <atomic>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <thread>

#include "CliFixture.h"
#include "Listings.h"

namespace {

using Json = nlohmann::ordered_json;

class CliTest : public CliFixture {
protected:
    // {new, changed, unchanged, deleted} of a detect run with the given arguments.
    std::vector<int> Detect(const std::string& arguments, int exitCode = 0) {
        const ToolResult result = Run("detect --json " + (kState + arguments));
        EXPECT_EQ(result.exitCode, exitCode) << result.err;
        const Json json = Json::parse(result.out);
        EXPECT_EQ(json["result"], 0);
        EXPECT_TRUE(json.size() == 8 && json.contains("message") && json.contains("elapsed_ms") &&
                    json.contains("files_per_second"));
        return {json["new"], json["changed"], json["unchanged"], json["deleted"]};
    }

    // "status index path" of every record, sorted.
    std::set<std::string> Dump(const std::string& arguments) {
        std::istringstream lines(Run("dump --json " + arguments).out);
        std::set<std::string> records;
        for (std::string line; std::getline(lines, line);) {
            const Json record = Json::parse(line);
            records.insert(std::string(record["status"]) + " " +
                           std::to_string(int(record["path_index"])) + " " +
                           std::string(record["path"]) + " " + std::to_string(int(record["size"])));
        }
        return records;
    }

    void Commit() { EXPECT_EQ(Run(std::string("commit ") + kState).exitCode, 0); }
};

using Counts = std::vector<int>;
using Lines = std::set<std::string>;

TEST_F(CliTest, RunsFromFirstListingToCommitAndDiscard) {
    EXPECT_EQ(Detect("--ignore 0:skip tree/", 0), (Counts{3, 0, 0, 0}));
    EXPECT_EQ(Dump("s/s"), (Lines{"new 0 a 1", "new 0 b 1", "new 0 sub\\skip\\c 1"}));
    EXPECT_EQ(ReadBytes("s/b.lock"), "");
    Commit();
    EXPECT_EQ(Run(std::string("commit ") + kState).exitCode, 9);

    std::filesystem::remove("tree/a");
    WriteBytes("tree/b", "22");
    WriteBytes("tree/n", "");
    EXPECT_EQ(Detect("--exit-code --ignore 0:skip tree", 4), (Counts{1, 1, 1, 1}));
    EXPECT_EQ(Dump("--status new,changed s/s"), (Lines{"changed 0 b 2", "new 0 n 0"}));
    EXPECT_EQ(Dump("s/d"), (Lines{"deleted 0 a 1"}));
    const std::string base = ReadBytes("s/b");
    EXPECT_EQ(Run(std::string("discard ") + kState).exitCode, 0);
    EXPECT_EQ(Run(std::string("discard ") + kState).exitCode, 9);
    EXPECT_EQ(ReadBytes("s/b"), base);
    EXPECT_FALSE(std::filesystem::exists("s/s") || std::filesystem::exists("s/d"));
    EXPECT_EQ(Detect("--exit-code --ignore 0:skip tree", 4), (Counts{1, 1, 1, 1}));
}

TEST_F(CliTest, ForceAllAndEqualSignsInPaths) {
    std::filesystem::rename("tree", "t=r");
    EXPECT_EQ(Detect("t=r"), (Counts{4, 0, 0, 0}));
    Commit();
    EXPECT_EQ(Detect("--exit-code meta=x=t=r", 0), (Counts{0, 0, 4, 0}));
    EXPECT_EQ(Detect("--force-all --exit-code t=r", 4), (Counts{0, 4, 0, 0}));
    EXPECT_EQ(Detect("t=r t=r/sub"), (Counts{1, 0, 4, 0}));
}

TEST_F(CliTest, TableNamesTheNextCommands) {
    const std::string out = Run(std::string("detect ") + kState + "tree").out;
    EXPECT_NE(out.find("new                     4\n"), std::string::npos) << out;
    const std::size_t at = out.find("commit --base");
    EXPECT_EQ(Run(out.substr(at, out.find('\n', at) - at)).exitCode, 0) << out;
}

TEST_F(CliTest, ReadersOfTheListingsDoNotStopACommitHalfWay) {
    // Shorter times are none at all on some systems.
    constexpr std::chrono::milliseconds kHeld{1};
    constexpr std::chrono::milliseconds kFree{4};
    std::atomic<bool> done = false;
    const WString listing = WidePath(std::filesystem::absolute("s/s"));
    std::thread reader([&] {
        while (!done) {
            const HANDLE file = CreateFileW(listing.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                            OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
            std::this_thread::sleep_for(kHeld);
            CloseHandle(file);
            std::this_thread::sleep_for(kFree);  // leaves room also on a busy machine
        }
    });
    for (int i = 0; i < 8; ++i) {
        WriteBytes("s/s", FileBytes({{"a"}}));
        WriteBytes("s/b", FileBytes({}));
        WriteBytes("s/d", FileBytes({}));
        int exitCode = 6;  // a reader that is there before the commit begins
        while (exitCode == 6) {
            exitCode = Run(std::string("commit ") + kState).exitCode;
        }
        EXPECT_EQ(exitCode, 0);
    }
    done = true;
    reader.join();
}

TEST_F(CliTest, RefusesWhileAnotherRunHoldsTheState) {
    Detect("tree");
    const auto before = Files();
    const HANDLE lock = CreateFileW(WidePath(std::filesystem::absolute("s/b.lock")).c_str(),
                                    GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(lock, "4242\n", 5, &written, nullptr);
    for (const std::string command : {"detect tree ", "commit ", "discard "}) {
        const ToolResult result = Run(command + kState);
        EXPECT_EQ(result.exitCode, 6) << command;
        EXPECT_NE(result.err.find("process 4242"), std::string::npos) << result.err;
    }
    CloseHandle(lock);
    WriteBytes("s/b.lock", "");
    EXPECT_EQ(Files(), before);
}

}  // namespace
