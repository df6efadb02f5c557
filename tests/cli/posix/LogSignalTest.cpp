// Signals end log watch and log break, and no thread stays stopped.
#include <csignal>

#include "../LiveLog.h"

TEST(LogSignalTest, EndsWithTheSignalsCodeAndLetsThreadsGo) {
    const LoggingHost host("S", 1);
    RunningTool watch({"watch", "--exe", host.name});
    RunningTool holding({"break", "--exe", host.name, "--release-after", "3600"});
    ASSERT_TRUE(watch.Says("watching") && holding.Says("stop at"));
    host.Ask('a');
    ASSERT_TRUE(holding.Says("hit 1 stopped"));
    kill(static_cast<pid_t>(holding.child.Id()), SIGTERM);
    EXPECT_EQ(holding.child.Wait(kLimitMs), 143);
    EXPECT_TRUE(host.HasLogged('a'));
    kill(static_cast<pid_t>(watch.child.Id()), SIGINT);
    EXPECT_EQ(watch.child.Wait(kLimitMs), 130);
}

TEST(LogSignalTest, ALineThatIsStillWrittenIsPrintedWhenFollowingEnds) {
    const TempFolder folder;
    WriteBytes(folder / "x.Log", "whole\nwithout its end");
    RunningTool cat({"cat", "-f", (folder / "x.Log").string()});
    ASSERT_TRUE(cat.Says("whole"));
    kill(static_cast<pid_t>(cat.child.Id()), SIGINT);
    EXPECT_EQ(cat.child.Wait(kLimitMs), 130);
    EXPECT_TRUE(cat.Says("without its end"));
}
