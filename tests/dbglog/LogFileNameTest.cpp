#include "logshare/LogFileName.h"

#include <gtest/gtest.h>

#include "TestSupport.h"

namespace {

TEST(LogFileName, IsABaseAndANumber) {
    const struct {
        const char *path, *base;
        DWORD number;
        const char* next;
    } cases[] = {
        {"C:\\L\\X.Log", "C:\\L\\X", 0, "C:\\L\\X.00000001.log"},
        {"X.00000001.log", "X", 1, "X.00000002.log"},
        {"X.99999999.log", "X", 99999999, "X.100000000.log"},
        {"X.00000000.log", "X.00000000", 0, "X.00000000.00000001.log"},
        {"X.abcdefgh.log", "X.abcdefgh", 0, "X.abcdefgh.00000001.log"},
        {"X.0000001x.log", "X.0000001x", 0, "X.0000001x.00000001.log"},
        {"X.00000001.txt", "X.00000001.txt", 0, "X.00000001.txt.00000001.log"},
        {"00000002.log", "00000002", 0, "00000002.00000001.log"},
        {".log", ".log", 0, ".log.00000001.log"},
    };
    for (const auto& c : cases) {
        const WString path = Wide(c.path);
        const LogFileName name = SplitLogFileName(path);
        EXPECT_EQ(name.base, Wide(c.base));
        EXPECT_EQ(name.number, c.number) << c.path;
        EXPECT_EQ(Narrow(NumberedLogFile(name.base, name.number + 1)), c.next) << c.path;
    }
    EXPECT_TRUE(SameLogSeries(WIDE("x.00000003.log"), WIDE("X.Log")));
    EXPECT_TRUE(SameLogSeries(WIDE("x"), WIDE("x.log")));
    EXPECT_FALSE(SameLogSeries(WIDE("x.00000000.log"), WIDE("x.log")));
    EXPECT_FALSE(SameLogSeries(WIDE("x.00000001.log"), WIDE("y.00000001.log")));
}

}  // namespace
