// The log commands between accounts: root may act for others, and an account may lack its folder.
#include <csignal>
#include <cstdlib>

#include "../LiveLog.h"

namespace {

namespace fs = std::filesystem;

const TestRole lingerRole("log-linger", [](const std::vector<std::string>&) { return pause(); });

class LogAccountTest : public CliFixture {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs root to become other accounts";
        }
    }

    static std::vector<std::string> As(int account, std::vector<std::string> command) {
        const std::string user = "--reuid=" + std::to_string(account);
        command.insert(command.begin(), {"setpriv", user, "--clear-groups"});
        return command;
    }

    // A program that logs, and lives as long as the object.
    static HostChild Host(int account) {
        return HostChild::Start(As(account, RoleCommand("log-linger", {})));
    }

    ToolResult Log(const std::string& arguments) const {
        return Run("log " + arguments, FENWICKEL_LOG_TOOL);
    }
    ToolResult LogAs(int account, const std::string& arguments) const {
        const std::string tool = fs::absolute(FENWICKEL_LOG_TOOL).string();
        return Run(
            "--reuid=" + std::to_string(account) + " --clear-groups " + tool + " log " + arguments,
            "/usr/bin/setpriv");
    }

    // The host makes its configuration as it starts.
    ToolResult AwaitShown(const HostChild& host) const {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLimitMs);
        ToolResult shown = Log("show " + std::to_string(host.Id()));
        while (shown.exitCode != 0 && std::chrono::steady_clock::now() < end) {
            shown = Log("show " + std::to_string(host.Id()));
        }
        return shown;
    }
};

TEST_F(LogAccountTest, RootFindsTheProgramsOfOthersAndStrangersDoNot) {
    const HostChild host = Host(54321);
    const std::string id = std::to_string(host.Id());
    const ToolResult shown = AwaitShown(host);
    EXPECT_EQ(shown.exitCode, 0) << shown.err;
    const struct {
        int account;
        std::string arguments;
        int exitCode;
        const char* err;
    } rows[] = {
        {0, "level --user 54321 " + id + " 1", 0, ""},
        {54321, "show " + id, 0, ""},
        {54321, "show --user 54321 " + id, 0, ""},
        {54322, "show " + id, 1, "no log configuration"},
        {54322, "level " + id + " 0", 1, "no log configuration"},
        {54322, "level --user 54321 " + id + " 0", 1, "run as root"},
        {0, "show --user 54322 " + id, 1, "no log configuration"},
        {0, "show --user no-such-account " + id, 2, "no such account"},
        {0, "show --user \"\" " + id, 2, "--user is empty"},
    };
    for (const auto& row : rows) {
        const ToolResult result =
            row.account == 0 ? Log(row.arguments) : LogAs(row.account, row.arguments);
        EXPECT_EQ(result.exitCode, row.exitCode) << row.arguments << result.err;
        EXPECT_NE(result.err.find(row.err), std::string::npos) << row.arguments << result.err;
    }
    EXPECT_NE(Log("show " + id).out.find("level  1\n"), std::string::npos);
}

TEST_F(LogAccountTest, ThatNothingIsLoggedIsSaidOnce) {
    const std::string tool = fs::absolute(FENWICKEL_LOG_TOOL).string();
    for (const char* const home : {"", "HOME=/tmp "}) {
        const ToolResult result =
            Run(std::string("-i ") + home + "setpriv --reuid=54321 --clear-groups " + tool +
                    " log show 1",
                "/usr/bin/env");
        EXPECT_EQ(Count(result.err, "are not logged"), *home == 0 ? 1U : 0U) << result.err;
    }
}

TEST_F(LogAccountTest, ATakenFolderIsNamed) {
    const std::string folder = std::getenv("FENWICKEL_OBJECTS") + std::string("fenwickel-54323");
    fs::create_directory(folder);
    const HostChild host = Host(54323);
    for (const std::string& command : {"show " + std::to_string(host.Id()), std::string("watch"),
                                       std::string("break --exe x")}) {
        const ToolResult result = LogAs(54323, command);
        EXPECT_EQ(result.exitCode, 1) << command;
        EXPECT_NE(result.err.find(folder + "/\" belongs to the account root"), std::string::npos)
            << result.err;
    }
    fs::remove(folder);
}

}  // namespace
