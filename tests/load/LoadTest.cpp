// What the log promises while processes that use it are killed.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <thread>

#include "CapturedLog.h"
#include "TestSupport.h"
#include "dbglog/DbgLogger.h"
#include "load/LoadRoles.h"
#include "logshare/LogFileName.h"
#include "logshare/LogViewer.h"

namespace {

// Messages in the order of their arrival.
struct Tally {
    std::map<std::pair<int, int>, int> next;  // by writer and thread: the earliest to come
    std::map<int, int> counts;                // by writer
    int misplaced = 0;                        // came twice, or behind a later one of their thread

    // False for what is no whole message.
    bool Add(const std::string& text) {
        int writer = 0;
        int thread = 0;
        int number = 0;
        std::sscanf(text.c_str(), "w%d t%d n%d", &writer, &thread, &number);
        if (text != Message(writer, thread, number)) {
            return false;
        }
        int& expected = next[{writer, thread}];
        misplaced += number < expected ? 1 : 0;
        expected = number + 1;
        ++counts[writer];
        return true;
    }

    int Missing(const std::vector<int>& writers) {
        int missing = 0;
        for (const int writer : writers) {
            missing += kThreads * LineCount() - counts[writer];
        }
        return missing;
    }
};

// What load.Log and its successors hold. A kill may cut one line or one summary block.
Tally ReadLog(const TempFolder& folder, int kills) {
    Tally tally;
    DWORD files = 0;
    int cut = 0;
    for (std::string name = "load.Log"; std::filesystem::exists(folder / name); ++files) {
        const std::string text = LogText(folder / name);
        const std::size_t end = text.rfind("=====\r\n");
        EXPECT_EQ(text.find("\xEF\xBB\xBF"), text.npos) << "a mark inside " << name;
        EXPECT_EQ(text.find("= SUMMARY"), text.rfind("= SUMMARY")) << "two in " << name;
        cut += end == text.npos ? 1 : 0;
        for (const std::string& line : MessagesOf(text.substr(end == text.npos ? 0 : end + 7))) {
            const std::size_t header = line.rfind("] ");  // of the line behind a fragment
            const bool whole = tally.Add(line.substr(header == line.npos ? 0 : header + 2));
            cut += whole && header == line.npos ? 0 : 1;
        }
        name = Narrow(NumberedLogFile(WIDE("load"), files + 1));
    }
    EXPECT_LE(cut, kills);
    EXPECT_EQ(tally.misplaced, 0);
    EXPECT_GT(files, 2U);
    return tally;
}

bool AllDone(std::vector<HostChild>* children) {
    return std::all_of(children->begin(), children->end(),
                       [](HostChild& child) { return child.Wait(0).has_value(); });
}

const auto kRemoveAfterMs = static_cast<std::uint32_t>(LoadSize(5, 100));
const auto kKillAfterMs = static_cast<std::uint32_t>(LoadSize(20, 200));

struct Survivors {
    std::vector<int> writers{1, 2, 3};
    int kills = 0;
};

// Three writers that live, beside one that is killed and replaced until they are done.
Survivors WriteAndKill(const std::string& file) {
    Survivors survivors;
    std::vector<HostChild> steady;
    for (const int writer : survivors.writers) {
        steady.push_back(StartRole("writer", file, writer));
    }
    for (int next = kSteadyWriters + 1; !AllDone(&steady); ++next) {
        HostChild victim = StartRole("writer", file, next);
        EXPECT_TRUE(AwaitChild());
        victim.Wait(kKillAfterMs);
        victim.Kill();
        if (victim.Wait(kPatienceMs) == 0) {
            survivors.writers.push_back(next);  // was done before
        } else {
            ++survivors.kills;
        }
    }
    EXPECT_GT(survivors.kills, 0);
    EXPECT_TRUE(std::all_of(steady.begin(), steady.end(),
                            [](HostChild& child) { return child.Wait(0) == 0; }));
    return survivors;
}

}  // namespace

TEST(Load, FileLosesOneMessageAKill) {
    const TempFolder folder;
    const Survivors survivors = WriteAndKill(Narrow(folder.wide("load.Log")));
    const int missing = ReadLog(folder, survivors.kills).Missing(survivors.writers);
    std::printf("%d kills, %d messages lost\n", survivors.kills, missing);
    EXPECT_LE(missing, survivors.kills);
}

// Removes the files of the objects in the folder, and in those of accounts in it.
void RemoveObjects(const std::filesystem::path& folder) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, ignored)) {
        if (entry.is_regular_file(ignored)) {
            std::filesystem::remove(entry.path(), ignored);
        }
    }
}

// The writers' objects have files of their own, without which each has a mutex of its own.
TEST(Load, LinesStayWholeWithoutTheObjectsFiles) {
    WCHAR before[512] = {};
    if (GetEnvironmentVariableW(WIDE("FENWICKEL_OBJECTS"), before, 512) == 0) {
        GTEST_SKIP() << "objects have no files here";
    }
    const TempFolder folder;
    std::filesystem::create_directory(folder / "o");
    const WString objects = Wide((folder / "o/").string());
    SetEnvironmentVariableW(WIDE("FENWICKEL_OBJECTS"), objects.c_str());
    std::vector<HostChild> writers;
    for (int writer = 1; writer <= 4; ++writer) {
        writers.push_back(StartRole("steady writer", Narrow(folder.wide("load.Log")), writer));
    }
    SetEnvironmentVariableW(WIDE("FENWICKEL_OBJECTS"), before);
    for (; !AllDone(&writers); writers[0].Wait(kRemoveAfterMs)) {
        RemoveObjects(folder / "o");
    }
    std::string text = LogText(folder / "load.Log");
    // Two writers may begin one file. The line without a header begins a summary.
    const std::string begin =
        "[   Date        Time      Level  PID     TID   ErrCode    ] .......\r\n";
    for (std::size_t at; (at = text.find(begin)) != text.npos;) {
        text.erase(at, begin.size());
    }
    Tally tally;
    int lines = 0;
    for (const std::string& message : MessagesOf(text)) {
        EXPECT_TRUE(tally.Add(message)) << message;
        ++lines;
    }
    EXPECT_EQ(lines, 4 * kThreads * LineCount());
    EXPECT_EQ(tally.misplaced, 0);
    EXPECT_EQ(tally.Missing({1, 2, 3, 4}), 0);
}

TEST(Load, RingLosesWhatIsOverrunAndOneMessageAKill) {
    const TempFolder folder;
    LogViewer viewer;
    ASSERT_EQ(viewer.Watch(OwnExecutable()), LogWatch::Watching);
    Tally tally;
    std::vector<LogLoss> losses;
    std::atomic<bool> written{false};
    std::thread reader([&] {
        for (bool last = false; !last;) {
            last = written;
            viewer.Wait(20);
            std::list<CLogMessage*> messages;
            viewer.Poll(&messages, &losses);
            for (CLogMessage* message : messages) {
                EXPECT_TRUE(tally.Add(Narrow(message->GetText()))) << "not whole";
                message->Release();
            }
        }
    });
    const Survivors survivors = WriteAndKill(Narrow(folder.wide("load.Log")));
    written = true;
    reader.join();
    std::uint64_t overrun = 0;
    for (const LogLoss& loss : losses) {
        EXPECT_GT(loss.count, 0U) << "damaged indices";
        overrun += loss.count;
    }
    const int missing = tally.Missing(survivors.writers);
    std::printf("%d kills, %d messages lost, %d overrun\n", survivors.kills, missing, int(overrun));
    EXPECT_EQ(tally.misplaced, 0);
    EXPECT_LE(missing, survivors.kills + int(overrun));
    EXPECT_LE(ReadLog(folder, survivors.kills).Missing(survivors.writers), survivors.kills);
}

TEST(Load, WritersOutliveTheirViewers) {
    const TempFolder folder;
    const std::string file = Narrow(folder.wide("load.Log"));
    HostChild holder = StartRole("viewer", "hold");
    ASSERT_TRUE(AwaitChild());
    HostChild held = StartRole("writer", file, 1);
    std::vector<HostChild> others;
    others.push_back(StartRole("writer", file, 2));
    others.push_back(StartRole("writer", file, 3));
    ASSERT_TRUE(AwaitChild()) << "no thread has stopped";
    EXPECT_FALSE(held.Wait(0));
    holder.Kill();
    holder.Wait(kPatienceMs);
    int viewers = 0;
    for (; !AllDone(&others); ++viewers) {
        HostChild viewer = StartRole("viewer", viewers % 2 == 0 ? "stay" : "leave");
        ASSERT_TRUE(AwaitChild());
        viewer.Wait(kKillAfterMs);
        if (viewers % 4 >= 2 && PauseProcess(viewer.Id(), true)) {
            viewer.Wait(kKillAfterMs);
            PauseProcess(viewer.Id(), viewers % 4 == 2);
            viewer.Wait(kKillAfterMs);
        }
    }
    std::printf("%d viewers\n", viewers);
    EXPECT_EQ(held.Wait(kPatienceMs), 0);
    EXPECT_EQ(ReadLog(folder, 0).Missing({1, 2, 3}), 0);
}

TEST(Load, NextWriterButOneRecoversFromADeadOwner) {
    const TempFolder folder;
    const WString before = SetProcessLogFile(folder.wide("owners.Log"));
    const int owners = LoadSize(LOAD_OWNERS, 10000);
    std::vector<std::string> expected;
    const auto log = [&](int writer) {
        expected.push_back(Message(writer, 0, int(expected.size())));
        g_DbgLogger.Log(1, WIDE("%s"), Wide(expected.back()).c_str());
    };
    log(0);
    std::set<DWORD> dead;
    for (int owner = 0; owner < owners; ++owner) {
        HostChild holder = StartRole("holder", Narrow(folder.wide("owners.Log")));
        ASSERT_TRUE(AwaitChild());
        holder.Kill();
        ASSERT_TRUE(holder.Wait(kPatienceMs));
        dead.insert(holder.Id());
        log(1);
        expected.pop_back();
        log(2);
    }
    // A process removes what the dead have left when it makes its first object.
    HostChild next = StartRole("holder", Narrow(folder.wide("owners.Log")));
    ASSERT_TRUE(AwaitChild());
    next.Kill();
    ASSERT_TRUE(next.Wait(kPatienceMs));
    EXPECT_EQ(TracesOf(dead), 0);
    const std::string text = LogText(folder / "owners.Log");
    EXPECT_EQ(MessagesOf(text.substr(text.rfind("=====\r\n") + 7)), expected);
    SetProcessLogFile(before);
}
