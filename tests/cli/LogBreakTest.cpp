// fenwickel log break beside a program that logs.
#include "LiveLog.h"

TEST(LogBreakTest, StopsOneThreadUntilItIsReleasedOrTheToolDies) {
    const LoggingHost host("B", 1);
    std::vector<std::string> arguments = {"break",  "--exe",           host.name, "--text",
                                          "a: mes", "--release-after", "3600"};
    RunningTool holding(arguments);
    ASSERT_TRUE(holding.Says("stop at"));
    host.Ask('a');
    EXPECT_TRUE(holding.Says(" hit 1 stopped"));
    host.Ask('b');
    EXPECT_TRUE(host.HasLogged('b'));
    EXPECT_FALSE(host.HasLogged('a', 0));

    const RunningTool watch({"watch", "--exe", host.name});
    ASSERT_TRUE(watch.Says("a: message 0."));  // the ring kept it
    holding.child.Kill();
    EXPECT_TRUE(watch.Says("released 1"));
    EXPECT_TRUE(host.HasLogged('a'));

    arguments.back() = "1";
    const RunningTool brief(arguments);
    ASSERT_TRUE(brief.Says("stop at"));
    host.Ask('a');
    EXPECT_TRUE(brief.Says(" hit 1 released"));
    EXPECT_TRUE(host.HasLogged('a'));
}
