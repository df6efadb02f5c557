// fenwickel log watch beside programs that log.
#include <sstream>

#include "LiveLog.h"

TEST(LogWatchTest, PrintsTheWantedMessagesInOrder) {
    const LoggingHost host("W", 301);
    const std::string pid = std::to_string(host.child.Id());
    struct Case {
        std::vector<std::string> options;
        int step;  // every so many messages are wanted
        std::string part;
    };
    for (const Case& it :
         {Case{{"--json"}, 1, "\"pid\":" + pid + ",\"tid\":"},
          Case{{"--level", "1"}, 2, " " + pid + " "}, Case{{"--grep", "00."}, 100, "::"}}) {
        std::vector<std::string> arguments = {"watch", "--exe", host.name};
        arguments.insert(arguments.end(), it.options.begin(), it.options.end());
        const RunningTool watch(arguments);
        ASSERT_TRUE(watch.Says("watching"));
        EXPECT_EQ(RunningTool({"watch", "--exe", host.name}).child.Wait(kLimitMs), 6);
        host.Ask('a');
        std::istringstream lines(watch.Await("a: message 300."));
        std::string line;
        std::getline(lines, line);  // "watching"
        int next = it.step == 100 ? 100 : 0;
        for (; std::getline(lines, line); next += it.step) {
            ASSERT_NE(line.find("a: message " + std::to_string(next) + "."), std::string::npos)
                << line;
            ASSERT_NE(line.find(it.part), std::string::npos) << line;
        }
        EXPECT_EQ(next, 300 + it.step);
        EXPECT_TRUE(host.HasLogged('a'));
    }
}

TEST(LogWatchTest, FindsProgramsThatLoadTheLibrary) {
    const LoggingHost early("E", 1);
    const RunningTool watch({"watch", "--json"});
    const LoggingHost late("L", 1);
    for (const LoggingHost* host : {&early, &late}) {
        ASSERT_TRUE(watch.Says('"' + host->name + '"'));
        host->Ask('b');
        EXPECT_TRUE(watch.Says("\"process\":\"" + host->name + '"'));
    }
}
