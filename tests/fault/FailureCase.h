// One failure of an operation: the call that fails, the code it ends with and all it logs.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <list>

#include "CapturedLog.h"
#include "JobControl.h"
#include "Listings.h"
#include "fenwickel/SyncDetectFileChange.h"
#include "platform/FaultPoint.h"

using Lines = std::vector<std::string>;

inline Lines operator+(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The three files of a synchronisation, whose base lists the file "gone", and the objects at work.
struct Bench {
    Bench() { WriteBytes(folder / "base", FileBytes({{.path = "gone"}})); }

    TempFolder folder;
    WString base = folder.wide("base");
    WString syncing = folder.wide("syncing");
    WString deleted = folder.wide("deleted");
    JobControl control;
    CSyncDBFile file;
    CSyncFileDatabase database;
    CSyncDetectFileChange detector;
};

// Lines are written without "[SYNC]:[" and with F::, D:: and C:: for the three exported classes,
// $B, $S, $D for the files and $T for the tree.
struct FailureCase {
    int (*prepare)(Bench&);
    int (*run)(Bench&);
    const char* fault;
    int code;
    Lines lines;
};

inline std::string FullLine(std::string line, const Bench& bench) {
    const std::pair<std::string, std::string> shorthands[] = {
        {"F::", "CSyncDBFile::"},
        {"D::", "CSyncFileDatabase::"},
        {"C::", "CSyncDetectFileChange::"},
        {"$B", Narrow(bench.base)},
        {"$S", Narrow(bench.syncing)},
        {"$D", Narrow(bench.deleted)},
        {"$T", Narrow(bench.folder.wide("tree"))}};
    for (const auto& [shorthand, text] : shorthands) {
        const std::size_t at = line.find(shorthand);
        if (at != std::string::npos) {
            line.replace(at, shorthand.size(), text);
        }
    }
    return "[SYNC]:[" + line;
}

// Which thread of a detection a line comes from: lines of different threads may change places.
inline int ThreadOf(const std::string& line) {
    const std::pair<const char*, int> signs[] = {
        {"::Traverse", 1}, {"::CheckFile", 2}, {"::StoreFile", 3}, {"::AppendRecord", 3}};
    for (const auto& [sign, thread] : signs) {
        if (line.find(sign) != std::string::npos) {
            return thread;
        }
    }
    return 0;
}

inline Lines ByThread(Lines lines) {
    std::stable_sort(lines.begin(), lines.end(), [](const std::string& a, const std::string& b) {
        return ThreadOf(a) < ThreadOf(b);
    });
    return lines;
}

inline void CheckFailures(const std::vector<FailureCase>& cases) {
    CSyncDBFile::DeleteDBFile(WIDE("absent"));  // the first message opens the log
    for (const FailureCase& failure : cases) {
        SCOPED_TRACE(failure.fault + (": " + failure.lines.back()));
        const long long handlesBefore = FaultOpenHandles();
        {
            Bench bench;
            ASSERT_EQ(failure.prepare(bench), 0);
            CapturedLog log;
            ASSERT_TRUE(FaultArmFromText(failure.fault));
            EXPECT_EQ(failure.run(bench), failure.code);
            EXPECT_GT(FaultDisarm(), 0);
            Lines expected;
            for (const std::string& line : failure.lines) {
                expected.push_back(FullLine(line, bench));
            }
            EXPECT_EQ(ByThread(log.Lines()), ByThread(expected));
        }
        EXPECT_EQ(FaultOpenHandles(), handlesBefore);
    }
}
