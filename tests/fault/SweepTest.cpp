// Makes every call of the layer fail in every way during detect, commit and discard.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <mutex>
#include <set>
#include <thread>

#include "Sandbox.h"

namespace {

// The answers of a run on the changed tree, by what its base knows.
const Answer kNothingKnown = {
    {"same", 2}, {"changed", 2}, {"new", 2}, {"sub\\same", 2}, {"sub\\new", 2}};
const Answer kAllKnown = {
    {"same", 8}, {"changed", 8}, {"new", 8}, {"sub\\same", 8}, {"sub\\new", 8}};
const Answer kOldKnown = {{"same", 8},     {"changed", 4},   {"new", 2}, {"sub\\same", 8},
                          {"sub\\new", 2}, {"sub\\gone", 1}, {"gone", 1}};

State PlainState(State state) {
    for (auto& [name, bytes] : state) {
        bytes = Plain(bytes);
    }
    return state;
}

// One command, the state files it starts from and those it leaves when nothing fails.
struct Role {
    std::string command;
    State before;
    std::set<int> exitCodes;  // what the manual page lists for the command
    State after = {};

    bool Commits() const { return command == "commit"; }
    std::string Before(const char* name) const {
        return before.contains(name) ? before.at(name) : "";
    }
};

bool IsLogFunction(const std::string& function) {
    return function.starts_with("log/");
}

struct Point {
    std::size_t role;
    std::string function;
    long long nthCall;
    std::string mode;  // with the code, if any

    std::string Fault() const { return function + ":" + std::to_string(nthCall) + ":" + mode; }
    // A queue that cannot wait or release ends the process rather than lose an item.
    bool IsQueueCall() const {
        return function == "WaitForSingleObject" || function.starts_with("Release");
    }
    // Sooner or later every close is given up.
    bool IsClose() const {
        return function.ends_with("CloseHandle") || function.ends_with("FindClose");
    }
    // A failure of the log does not change the result of the command.
    bool IsOfLog() const { return IsLogFunction(function); }
    bool HindersDeletion() const {
        return function == "DeleteFileW" || function == "PathFileExistsW" || IsClose();
    }
};

std::mutex g_lock;
std::map<std::string, int> g_counts;  // under g_lock

void Count(const std::string& what) {
    const std::lock_guard guard(g_lock);
    ++g_counts[what];
}

// A sandbox with its roles; the listings hold the times of its own files.
class Laboratory {
public:
    Laboratory();
    std::vector<Point> Points();
    void Try(const Point& point);
    std::size_t RoleCount() const { return m_roles.size(); }

private:
    void CheckEnd(const Point& point, const Ended& ended);
    void CheckFiles(const Role& role, const Point& point, const Ended& ended);
    void ExpectRecovery(const Role& role, const Point& point);

    Sandbox m_sandbox;
    std::vector<Role> m_roles;
};

Laboratory::Laboratory() {
    const State committed = m_sandbox.Read();
    EXPECT_EQ(m_sandbox.Run("detect").exitCode, 0);
    const State pending = m_sandbox.Read();
    EXPECT_EQ(AnswerOf(pending), kOldKnown);
    // The listings of an earlier run: no record of them is right for this one.
    State leftover = committed;
    leftover["syncing"] = FileBytes({{.path = "never"}, {.path = "there"}});
    leftover["deleted"] = FileBytes({{.path = "same", .status = SYNC_ITEM_DELETED}});
    m_roles = {{"detect", leftover, {0, 1, 6, 8}},
               {"detect", {}, {0, 1, 6, 8}},
               {"commit", pending, {0, 1, 6, 9}},
               {"discard", pending, {0, 1, 6, 9}}};
    for (Role& role : m_roles) {
        m_sandbox.Write(role.before);
        EXPECT_EQ(m_sandbox.Run(role.command).exitCode, 0);
        role.after = PlainState(m_sandbox.Read());
    }
    EXPECT_EQ(m_roles[0].after, PlainState(pending));
    EXPECT_EQ(AnswerOf(m_roles[1].after), kNothingKnown);
    EXPECT_EQ(m_roles[2].after["base"], Plain(pending.at("syncing")));
    EXPECT_EQ(m_roles[3].after, PlainState({*committed.find("base")}));
}

// The log does the same for every message, whatever the command.
std::vector<long long> CallsOfLogToTry(std::size_t role, long long calls) {
    const std::set<long long> tried = {1, 2, calls / 2, calls};
    return role == 0 ? std::vector<long long>(tried.lower_bound(1), tried.upper_bound(calls))
                     : std::vector<long long>();
}

// Releasing a mutex by its owner does not fail. If it did, the log's (the tool takes it first,
// to name its file) would be gone for the other threads, and each message would wait for its
// limits.
bool KeepsTheMutexOfTheLog(const std::string& function, long long n, const std::string& mode) {
    return mode != "kill" &&
           (function == "log/ReleaseMutex" || (function == "ReleaseMutex" && n == 1));
}

std::vector<Point> Laboratory::Points() {
    std::vector<Point> points;
    for (std::size_t role = 0; role < m_roles.size(); ++role) {
        m_sandbox.Write(m_roles[role].before);
        m_sandbox.Run(m_roles[role].command, "", true);
        for (const auto& [function, count] : TracedCalls(m_sandbox.Folder())) {
            std::vector<const char*> modes = {"once:5", "always:5", "kill"};
            if (function == "ReadFile" || function == "WriteFile") {
                modes.push_back("short");
            } else if (function == "CreateFileW") {
                modes.push_back("once:2");
            }
            for (const long long n :
                 IsLogFunction(function) ? CallsOfLogToTry(role, count) : CallsToTry(count)) {
                for (const char* mode : modes) {
                    if (!KeepsTheMutexOfTheLog(function, n, mode)) {
                        points.push_back({role, function, n, mode});
                    }
                }
            }
        }
    }
    return points;
}

void Laboratory::Try(const Point& point) {
    const Role& role = m_roles[point.role];
    SCOPED_TRACE(role.command + (role.before.empty() ? " first " : " ") + point.Fault());
    m_sandbox.Write(role.before);
    const Ended ended = m_sandbox.Run(role.command, point.Fault());
    SCOPED_TRACE("exit " + std::to_string(ended.exitCode) + ": " + ended.err);
    CheckEnd(point, ended);
    CheckFiles(role, point, ended);
    ExpectRecovery(role, point);
    Count(point.mode + ": points");
    Count(ended.signal != 0 ? "ended by signal " + std::to_string(ended.signal)
                            : role.command + ": exit " + std::to_string(ended.exitCode));
    if (ended.exitCode == 0 && point.function == "WriteFile" && point.mode == "once:5") {
        Count("unnoticed writes of role " + std::to_string(point.role));
    }
}

void Laboratory::CheckEnd(const Point& point, const Ended& ended) {
    EXPECT_FALSE(ended.hung);
    if (ended.signal != 0) {
        EXPECT_TRUE((ended.signal == SIGKILL && point.mode == "kill") ||
                    (ended.signal == SIGABRT && point.IsQueueCall()))
            << "signal " << ended.signal;
        return;
    }
    EXPECT_TRUE(m_roles[point.role].exitCodes.contains(ended.exitCode));
    EXPECT_TRUE(ended.exitCode == 0 || !point.IsOfLog());
    const bool isClean = ended.err.ends_with("left: 0 handles, 1 threads\n");
    EXPECT_TRUE(isClean || (point.IsClose() && ended.err.ends_with("handles, 1 threads\n")));
}

void Laboratory::CheckFiles(const Role& role, const Point& point, const Ended& ended) {
    State now = m_sandbox.Read();
    if (ended.exitCode == 0) {
        EXPECT_EQ(PlainState(now), role.after);
        return;
    }
    const bool isHalf = role.Commits() && now["base"].empty();
    EXPECT_TRUE(now["base"] == role.Before("base") ||
                (role.Commits() && now["base"] == role.Before("syncing")) ||
                (isHalf && now["syncing"] == role.Before("syncing")));
    if (isHalf) {
        Count(point.mode + ": between the steps of a commit");
    }
    if (now["deleted"] != role.Before("deleted")) {
        for (const Row& row : RowsOf(now["deleted"])) {
            EXPECT_FALSE(kAllKnown.contains(row.path)) << row.path;
        }
    }
    if (role.command == "detect" && !(now["syncing"] + now["deleted"]).empty()) {
        // A run that fails before its start leaves the earlier one alone, later it cleans up.
        EXPECT_TRUE(ended.signal != 0 || m_sandbox.Read() == role.before ||
                    point.HindersDeletion());
        Count(point.mode + ": leftovers");
    }
}

// A run without faults, and its commit, on what the fault left behind.
void Laboratory::ExpectRecovery(const Role& role, const Point& point) {
    if (role.Commits() && m_sandbox.Read()["base"].empty()) {
        EXPECT_EQ(m_sandbox.Run("commit").exitCode, 0);
    }
    const std::string base = m_sandbox.Read()["base"];
    const Answer& expected = base.empty()                  ? kNothingKnown
                             : base == role.Before("base") ? kOldKnown
                                                           : kAllKnown;
    EXPECT_EQ(m_sandbox.Run("detect").exitCode, 0);
    const State detected = m_sandbox.Read();
    EXPECT_EQ(AnswerOf(detected), expected);
    EXPECT_EQ(m_sandbox.Run("commit").exitCode, 0);
    State last = m_sandbox.Read();
    EXPECT_FALSE(last.contains("syncing"));
    EXPECT_EQ(last["base"], detected.at("syncing"));
    if (AnswerOf(detected) == expected && last["base"] == detected.at("syncing")) {
        Count(point.mode + ": recovered");
    }
}

// All points with FENWICKEL_FULL_SWEEP set; else a sample: each write once, some of the rest.
std::vector<Point> PointsToTry(Laboratory& laboratory) {
    std::vector<Point> points = laboratory.Points();
    if (std::getenv("FENWICKEL_FULL_SWEEP") == nullptr) {
        constexpr std::size_t kOneOf = 7;
        std::size_t index = 0;
        std::erase_if(points, [&](const Point& point) {
            return index++ % kOneOf != 0 &&
                   !(point.function == "WriteFile" && point.mode == "once:5");
        });
    }
    return points;
}

TEST(Sweep, EveryFailureIsToldAndLeavesTheBaseWhole) {
    constexpr rlimit kNoCore{0, 0};
    setrlimit(RLIMIT_CORE, &kNoCore);
    Laboratory first;
    const std::vector<Point> points = PointsToTry(first);
    std::atomic<std::size_t> next{0};
    const auto work = [&](Laboratory& laboratory) {
        for (std::size_t i = next++; i < points.size(); i = next++) {
            laboratory.Try(points[i]);
        }
    };
    Laboratory second;
    std::thread other([&] { work(second); });
    work(first);
    other.join();
    for (const auto& [what, count] : g_counts) {
        std::printf("%6d %s\n", count, what.c_str());
    }
    // The number in the lock file that cannot be written changes nothing; any other write of the
    // work that fails is noticed.
    constexpr int kLockWrites = 1;
    for (std::size_t role = 0; role < first.RoleCount(); ++role) {
        EXPECT_EQ(g_counts["unnoticed writes of role " + std::to_string(role)], kLockWrites);
    }
    EXPECT_GT(points.size(), 100U);
}

}  // namespace
