// One request to stop ends the tool, whatever holds its threads.
#include <csignal>

#include "../LiveLog.h"

namespace {

class StopTest : public CliFixture {};

// A breakpoint that lets nothing go on holds the tool where it logs, in the thread that would see
// the request.
TEST_F(StopTest, ARunThatABreakpointHoldsEndsOnOneRequest) {
    const std::string tool = std::filesystem::path(FENWICKEL_LOG_TOOL).filename();
    RunningTool breaker({"break", "--exe", tool, "--release-after", "3600"});
    ASSERT_TRUE(breaker.Says("stop at"));
    HostChild run =
        HostChild::Start({std::filesystem::absolute(FENWICKEL_LOG_TOOL).string(), "detect",
                          "--base", "s/b", "--syncing", "s/s", "--deleted", "s/d", "tree"});
    ASSERT_TRUE(breaker.Says("hit 1 stopped"));
    kill(static_cast<pid_t>(run.Id()), SIGTERM);
    EXPECT_EQ(run.Wait(kLimitMs), 143);
}

}  // namespace
