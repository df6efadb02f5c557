// Kills a whole synchronisation at every call of the layer; the next one must repair what is left.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "FaultyRun.h"
#include "TestSupport.h"

namespace {

namespace fs = std::filesystem;

// Removes from the copy, or copies with times, what the list names. A new program does each, since
// one that has just made a folder takes the next file for new, too.
constexpr const char* kUploader = R"sh(#!/bin/sh
cd "$(dirname "$0")" || exit 1
case $1 in
remove) cd copy && xargs -0 -r rm -rf -- <"$2" ;;
send) cd "$3" && xargs -0 -r -n1 cp -p --parents -t "$4" -- <"$2" ;;
esac
)sh";

// Where a run begins: before anything was sent, with changes to send, and with the commit of the
// changes interrupted between its two steps.
enum Start { kFirst, kChanged, kHalfCommitted, kStarts };

struct Point {
    Start start;
    std::string function;
    long long nthCall;
};

// Files with their bytes and times.
using Content = std::map<std::string, std::pair<std::string, fs::file_time_type>>;

Content ContentOf(const fs::path& folder) {
    Content content;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (!entry.is_directory()) {
            content[fs::relative(entry.path(), folder).string()] = {ReadBytes(entry.path()),
                                                                    entry.last_write_time()};
        }
    }
    return content;
}

void CopyFolder(const fs::path& from, const fs::path& to) {
    fs::remove_all(to);
    fs::create_directories(to);
    for (const auto& [name, file] : ContentOf(from)) {
        fs::create_directories((to / name).parent_path());
        WriteBytes(to / name, file.first);
        fs::last_write_time(to / name, file.second);
    }
}

std::set<std::string> NamesIn(const fs::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

// Between the deletion of the base and the renaming there is one call; the run says so itself.
bool IsHalfCommitted(const fs::path& state) {
    return !fs::exists(state / "base") && fs::exists(state / "syncing") &&
           ReadBytes(state / "run.json").find("committing") != std::string::npos;
}

// A tree, its copy and the state between them, in every way a run may find them.
class Laboratory {
public:
    Laboratory();
    std::vector<Point> Points();
    void Try(const Point& point);

private:
    Ended Sync(const std::string& fault = "", bool tracing = false);
    void Put(Start start);
    void Keep(Start start);
    fs::path Kept(Start start) const { return m_folder / ("start" + std::to_string(start)); }
    std::optional<Point> FindHalfCommit();
    void ExpectWhole();

    TempFolder m_folder;
    const fs::path m_tree = m_folder / "tree";
    const fs::path m_copy = m_folder / "copy";
    const fs::path m_state = m_folder / "state";
};

std::mutex g_lock;
std::map<std::string, int> g_counts;  // under g_lock

void Count(const std::string& what) {
    const std::lock_guard guard(g_lock);
    ++g_counts[what];
}

Laboratory::Laboratory() {
    WriteBytes(m_folder / "upload", kUploader);
    fs::permissions(m_folder / "upload", fs::perms::owner_all);
    fs::create_directories(m_tree / "sub");
    fs::create_directories(m_copy);
    for (const char* name : {"same", "changed", "gone", "sub/same", "sub/gone", "turned"}) {
        WriteBytes(m_tree / name, "1");
    }
    fs::create_directories(m_state);
    Keep(kFirst);
    EXPECT_EQ(Sync().exitCode, 0);
    ExpectWhole();
    for (const char* name : {"changed", "new", "sub/new"}) {
        WriteBytes(m_tree / name, "22");
    }
    for (const char* name : {"gone", "sub/gone", "turned"}) {
        fs::remove(m_tree / name);
    }
    fs::create_directory(m_tree / "turned");
    WriteBytes(m_tree / "turned/below", "22");
    Keep(kChanged);
    const auto half = FindHalfCommit();
    EXPECT_TRUE(half) << "no call stands between the two steps of a commit";
    Keep(kHalfCommitted);
}

void Laboratory::Keep(Start start) {
    CopyFolder(m_copy, Kept(start) / "copy");
    CopyFolder(m_state, Kept(start) / "state");
}

void Laboratory::Put(Start start) {
    CopyFolder(Kept(start) / "copy", m_copy);
    CopyFolder(Kept(start) / "state", m_state);
}

Ended Laboratory::Sync(const std::string& fault, bool tracing) {
    const std::string to = "cmd:/bin/sh '" + (m_folder / "upload").string() +
                           "' {action} {list} {folder} '" + m_copy.string() + "'";
    return RunFaulty(m_folder.path(),
                     {"sync", "--state", m_state.string(), "--to", to, "--snapshot", "off",
                      "--max-delete", "100%", "--lock-wait", "15", m_tree.string()},
                     fault, tracing);
}

std::optional<Point> Laboratory::FindHalfCommit() {
    const Ended whole = Sync("", true);
    EXPECT_EQ(whole.exitCode, 0) << whole.err;
    const long long moves = TracedCalls(m_folder.path())["MoveFileExW"];
    for (long long n = moves; n > 0; --n) {
        Put(kChanged);
        Sync("MoveFileExW:" + std::to_string(n) + ":kill");
        if (IsHalfCommitted(m_state)) {
            return Point{kChanged, "MoveFileExW", n};
        }
    }
    return std::nullopt;
}

std::vector<Point> Laboratory::Points() {
    std::vector<Point> points;
    for (const Start start : {kFirst, kChanged, kHalfCommitted}) {
        Put(start);
        EXPECT_EQ(Sync("", true).exitCode, 0);
        for (const auto& [function, count] : TracedCalls(m_folder.path())) {
            // The log does the same for every message.
            const bool isOfLog = function.starts_with("log/");
            for (const long long n : isOfLog ? std::vector<long long>{1} : CallsToTry(count)) {
                points.push_back({start, function, n});
            }
        }
    }
    return points;
}

void Laboratory::ExpectWhole() {
    EXPECT_EQ(ContentOf(m_copy), ContentOf(m_tree));
    EXPECT_EQ(NamesIn(m_state), (std::set<std::string>{"base", "base.lock", "fenwickel.Log",
                                                       "last.json", "settings.json"}));
}

void Laboratory::Try(const Point& point) {
    const std::string fault = point.function + ":" + std::to_string(point.nthCall) + ":kill";
    SCOPED_TRACE("start " + std::to_string(point.start) + " " + fault);
    Put(point.start);
    const Ended ended = Sync(fault);
    EXPECT_FALSE(ended.hung);
    EXPECT_TRUE(ended.signal == SIGKILL || ended.exitCode == 0) << ended.err;
    Count(ended.signal == SIGKILL ? "points killed" : "points not reached");
    if (IsHalfCommitted(m_state)) {
        Count("found half committed");
    }
    if (!fs::exists(m_state / "run.json") && fs::exists(m_state / "settings.json") &&
        point.start == kFirst) {
        EXPECT_EQ(ContentOf(m_copy), ContentOf(m_tree)) << "committed, but not sent";
    }
    const Ended next = Sync();
    EXPECT_EQ(next.exitCode, 0) << next.err;
    ExpectWhole();
    if (!testing::Test::HasFailure()) {
        Count("recovered");
    }
}

// All points with FENWICKEL_FULL_SWEEP set; else a sample.
std::vector<Point> PointsToTry(Laboratory& laboratory) {
    std::vector<Point> points = laboratory.Points();
    if (std::getenv("FENWICKEL_FULL_SWEEP") == nullptr) {
        constexpr std::size_t kOneOf = 11;
        std::size_t index = 0;
        std::erase_if(points, [&](const Point&) { return index++ % kOneOf != 0; });
    }
    return points;
}

TEST(SyncSweep, TheRunAfterAKilledOneEndsWithAnEqualCopy) {
    Laboratory first;
    Laboratory second;
    const std::vector<Point> points = PointsToTry(first);
    std::atomic<std::size_t> next{0};
    const auto work = [&](Laboratory& laboratory) {
        for (std::size_t i = next++; i < points.size(); i = next++) {
            laboratory.Try(points[i]);
        }
    };
    std::thread other([&] { work(second); });
    work(first);
    other.join();
    for (const auto& [what, count] : g_counts) {
        std::printf("%6d %s\n", count, what.c_str());
    }
    EXPECT_GT(g_counts["points killed"], 20);
    EXPECT_EQ(g_counts["recovered"], static_cast<int>(points.size()));
}

}  // namespace
