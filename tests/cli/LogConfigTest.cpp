// log show, level and file beside a program that logs.
#include "LiveLog.h"
#include "logshare/ConfigBlock.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedView.h"

namespace {

class LogConfigTest : public CliFixture {
protected:
    // How many messages of thread b are in the file, whose two bytes a letter are one and a zero.
    static std::size_t Messages(const std::string& file) {
        std::string text = ReadBytes(file);
        std::erase(text, '\0');
        return Count(text, "b: message 0.");
    }

    ~LogConfigTest() override {
        m_host.child.Kill();
        m_host.child.Wait(kLimitMs);
        std::filesystem::remove(m_host.program.parent_path() / "Logs" / (m_host.name + ".Log"));
    }

    ToolResult RunLog(const std::string& arguments) const {
        return Run("log " + arguments, FENWICKEL_LOG_TOOL);
    }

    LoggingHost m_host{"c", 1};
    const std::string m_pid = " " + std::to_string(m_host.child.Id()) + " ";
};

TEST_F(LogConfigTest, TheNextMessageObeys) {
    const std::string own = " --module " + m_host.name + " ";
    const struct {
        std::string change;
        std::string file;   // that gets the next message; "" for none of the two
        std::string shown;  // by log show afterwards
    } steps[] = {
        {"file" + m_pid + "s/one.Log", "s/one.Log", "follows the process's level, follows"},
        {"level" + m_pid + "0", "", "level  0\n"},
        {"level" + m_pid + "1" + own, "s/one.Log", "  1      own level, follows"},
        {"level" + m_pid + "default" + own, "", "  none   follows the process's level, follows"},
        {"level" + m_pid + "1", "s/one.Log", "level  1\n"},
        {"level" + m_pid + "default", "s/one.Log", "level  none\n"},
        {"file" + m_pid + "s/two" + own, "s/two", "follows the process's level, own file"},
        {"file" + m_pid + "s/one.Log", "s/two", "own file"},
        {"file" + m_pid + "default" + own, "s/one.Log", "level, follows the process's file"},
        {"file" + m_pid + "default", "", "file   none"},
        {"level" + m_pid + "1", "", m_host.name + ".Log\n"},
    };
    ASSERT_TRUE((m_host.Ask('b'), m_host.HasLogged('b')));  // now it has set up its log
    for (const auto& step : steps) {
        const std::size_t before[] = {Messages("s/one.Log"), Messages("s/two")};
        const ToolResult changed = RunLog(step.change);
        EXPECT_EQ(changed.exitCode, 0) << changed.err;
        m_host.Ask('b');
        ASSERT_TRUE(m_host.HasLogged('b'));
        EXPECT_EQ(Messages("s/one.Log") - before[0], step.file == "s/one.Log") << step.change;
        EXPECT_EQ(Messages("s/two") - before[1], step.file == "s/two") << step.change;
        const ToolResult shown = RunLog("show" + m_pid);
        EXPECT_NE(shown.out.find(step.shown), std::string::npos) << step.change << shown.out;
    }
    EXPECT_NE(RunLog("show --json" + m_pid).out.find("\"follows_process_file\":true"),
              std::string::npos);
}

TEST_F(LogConfigTest, OddBlocksAreToldOf) {
    ASSERT_TRUE((m_host.Ask('b'), m_host.HasLogged('b')));
    const DWORD id = m_host.child.Id();
    EXPECT_NE(RunLog("level --module x" + m_pid + "1").err.find("choose from " + m_host.name),
              std::string::npos);
    const OwnedHandle mapping(OpenSharedBlock(LogCfgBlockName(id), LogCfgLocalBlockName(id)));
    const SharedView<LogCfgBlock> block(mapping.get());
    ASSERT_TRUE(block);
    std::fill_n(block->entries[0].szModuleName, kModuleNameCapacity, WIDE('w'));
    std::fill_n(block->entries[0].szLogFile, kLogPathCapacity, WIDE('w'));
    block->entries[0].dwFlags = 0xDEADBEEC;
    EXPECT_EQ(RunLog("show" + m_pid).exitCode, 0);
    block->dwEndMagic = 0;
    for (const std::string& command : {"show" + m_pid, "level" + m_pid + "1"}) {
        const ToolResult result = RunLog(command);
        EXPECT_EQ(result.exitCode, 1) << command;
        EXPECT_NE(result.err.find("is damaged"), std::string::npos) << result.err;
    }
}

}  // namespace
