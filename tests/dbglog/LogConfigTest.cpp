#include <gtest/gtest.h>

#include <cstring>

#include "LogCfgForTests.h"
#include "TestRoles.h"
#include "TestSupport.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"
#include "system/Child.h"

namespace {

// A module with the name M in the first entry.
struct Module : LogCfgForTests {
    Module() { config.RegisterModule(WIDE("M")); }
    std::string Path(const WString& name, int ignoreProcessFile = 0) {
        WCHAR path[kLogPathCapacity] = {'-'};
        config.GetLogFilePath(name.c_str(), path, ignoreProcessFile);
        return Narrow(path);
    }
    std::string Answers(const WString& name) {
        std::string level = std::to_string(config.GetModuleLevel(name.c_str()));
        return level + " " + Path(name) + " " + Path(name, 1);
    }
};

TEST(LogConfig, SharesOneBlockAmongModules) {
    Module one, two;
    LogCfgEntry(&entries)[kLogCfgEntryCount] = one.Block().entries;
    const std::string fresh(reinterpret_cast<const char*>(&entries[1]), 1160);
    EXPECT_EQ(fresh, std::string(1156, '\0') + std::string("\1\0\0\0", 4));
    two.config.RegisterModule(WIDE("Two"));
    two.config.RegisterModule(WIDE("m"));
    EXPECT_EQ(one.Path(WIDE("M")), Narrow(one.config.GetLogFolder()) + "m.Log");
    entries[0].dwFlags = 0xFFFE;
    two.config.RegisterModule(WIDE("M"));
    EXPECT_EQ(one.Path(WIDE("M")), Narrow(one.config.GetLogFolder()) + "m.Log");
    EXPECT_TRUE(entries[1].nLevel == -1 && entries[1].dwFlags == 0xFFFF);
    EXPECT_EQ(TextOf(entries[1].szModuleName), WIDE("Two"));
}

TEST(LogConfig, DecidesLevelAndFile) {
    const struct {
        int processLevel, ownLevel;
        const WCHAR* processFile;
        DWORD flags;
        std::string answers;  // for the module, an unknown one, none: level, file, own file
    } cases[] = {
        {-1, -1, WIDE(""), 0xFFFF, "-1 own own, -1 - -, -1  "},
        {3, 1, WIDE("all"), 0xFFFF, "3 all own, 3 all -, 3 all all"},
        {-1, 1, WIDE("all"), 3, "1 all own, -1 all -, -1 all all"},
        {3, 1, WIDE("all"), 0xFFFC, "1 own own, 3 all -, 3 all all"},
        {3, -1, WIDE(""), 0, "-1 own own, 3 - -, 3  "},
    };
    Module module;
    for (const auto& c : cases) {
        LogCfgEntry& entry = module.Block().entries[0];
        module.Block().nLevel = c.processLevel;
        entry.nLevel = c.ownLevel;
        entry.dwFlags = c.flags;
        SetText(module.Block().szLogFile, c.processFile);
        SetText(entry.szLogFile, WIDE("own"));
        EXPECT_EQ(module.Answers(WIDE("m")) + ", " + module.Answers(WIDE("other")) + ", " +
                      module.Answers(WIDE("")),
                  c.answers);
    }
}

TEST(LogConfig, RecordsAMovedFileUnderItsFullPath) {
    Module module;
    const std::string logs = Narrow(module.config.GetLogFolder());
    // File of the process, name, path; then the file of the process and M's, "old" at first.
    const std::string cases[][5] = {
        {"", "M", "", "", logs + "M.Log"},
        {"", "M", "x.lOG", "", logs + "x.lOG"},
        {"", "M", "x.log.", "", logs + "x.log..Log"},
        {"", "M", "/x", "", "/x"},
        {"", "M", "d\\" + std::string(600, 'x'), "", "d\\" + std::string(509, 'x')},
        {"all", "M", "d\\x", "d\\x", "old"},
        {"all", "M", "", "", "old"},
        {"", "", "d\\x", "d\\x", "old"},
    };
    for (const auto& [processFile, name, path, newProcessFile, newFile] : cases) {
        SetText(module.Block().szLogFile, Wide(processFile));
        SetText(module.Block().entries[0].szLogFile, WIDE("old"));
        module.config.SetLogFilePath(Wide(name).c_str(), Wide(path).c_str());
        EXPECT_EQ(Narrow(TextOf(module.Block().szLogFile)), newProcessFile);
        EXPECT_EQ(module.Path(WIDE("M"), 1), newFile);
    }
}

TEST(LogConfig, HasNoAnswerFromSmallBlocksAndWrongMagics) {
    LogCfgForTests noBlockYet;
    const WString name = LogCfgBlockName(GetCurrentProcessId());
    const HANDLE planted = CreateSharedBlock(name, name, 4096);
    EXPECT_EQ(Module().Answers(WIDE("M")), "-1 - -");
    CloseHandle(planted);
    Module module;
    for (DWORD* magic : {&module.Block().dwMagic, &module.Block().dwEndMagic}) {
        *magic = 0xE6E7;
        const std::string before(reinterpret_cast<char*>(&module.Block()), 1188876);
        module.config.RegisterModule(WIDE("New"));
        module.config.SetLogFilePath(WIDE("M"), WIDE("x"));
        EXPECT_EQ(module.Answers(WIDE("M")), "-1 - -");
        EXPECT_EQ(std::memcmp(before.data(), &module.Block(), before.size()), 0);
        *magic = kLogCfgMagic;
    }
}

TEST(LogConfig, ReadsAFullTableOfUnterminatedTexts) {
    Module module;
    std::memset(static_cast<void*>(module.Block().szLogFile), 'x', sizeof(LogCfgBlock) - 8);
    const WCHAR unit = 'x' * 0x101;
    const std::string cut = Narrow(WString(511, unit));
    EXPECT_EQ(module.Path(WIDE("M")), cut);
    EXPECT_EQ(module.Path(WString(64, unit), 1), cut);
    EXPECT_EQ(module.Path(WString(65, unit), 1), "-");
    module.config.RegisterModule(WIDE("M"));
    EXPECT_EQ(module.config.GetModuleLevel(WIDE("M")), 0x78787878);
    EXPECT_EQ(module.Block().dwEndMagic, kLogCfgMagic);
}

// A tool that sets the process-wide level of the process to 7 and then stays, holding the mutex.
const TestRole g_tool("set-level-and-stay", [](const std::vector<std::string>& arguments) {
    const auto process = static_cast<DWORD>(std::stoul(arguments.at(0)));
    const HANDLE mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, LogCfgMutexName(process).c_str());
    const NamedLock lock(mutex, 10000);
    const HANDLE mapping = OpenSharedBlock(LogCfgBlockName(process), LogCfgLocalBlockName(process));
    void* const block = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(LogCfgBlock));
    static_cast<LogCfgBlock*>(block)->nLevel = 7;
    return static_cast<int>(WaitForSingleObject(CreateEventW(nullptr, 0, 0, nullptr), 60000));
});

TEST(LogConfig, LosesOneAnswerToADeadOwner) {
    Module module;
    HostChild tool = HostChild::Start(
        RoleCommand("set-level-and-stay", {std::to_string(GetCurrentProcessId())}));
    while (module.Block().nLevel != 7) {
        ASSERT_FALSE(tool.Wait(1)) << "ended before it set the level";
    }
    tool.Kill();
    tool.Wait(10000);
    EXPECT_EQ(module.config.GetModuleLevel(WIDE("M")), -1);
    EXPECT_EQ(module.config.GetModuleLevel(WIDE("M")), 7);
}

}  // namespace
