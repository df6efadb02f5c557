#include <future>
#include <regex>
#include <thread>

#include "LogFileFixture.h"
#include "TestRoles.h"
#include "dbglog/SMOutput.h"
#include "logshare/LogViewer.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"
#include "platform/FaultPoint.h"
#include "platform/OwnedHandle.h"
#include "posix/RegistryFixture.h"
#include "system/Child.h"
#include "system/Processes.h"

namespace {

// What follows the summary, with H for each header, T for each tail and | for each line end.
std::string Shape(const std::string& text) {
    const std::size_t start = text.rfind("=====\r\n") + 7;
    std::string shape = std::regex_replace(text.substr(start), std::regex(R"(\[[^\]]*\] )"), "H");
    shape = std::regex_replace(shape, std::regex(R"(   \{[^}]*\})"), "T");
    return std::regex_replace(shape, std::regex("\r\n"), "|");
}

TEST_F(LogFileTest, AFailedCallCostsAtMostItsMessage) {
    const char* const all = "H1T|H2T|H3T|";
    const struct {
        int message;  // that the fault meets
        const char* fault;
        const char* shape;
    } cases[] = {
        {1, "GetFileAttributesExW:1:once:5", all},
        {1, "CreateFileW:1:once:5", "H2T|H3T|"},
        {1, "AdoptLogFile:1:once:5", "H2T|H3T|"},
        {1, "CreateMutexW:1:once:5", "H2T|H3T|"},
        {1, "SetFilePointerEx:1:once:5", "H2T|H3T|"},
        {1, "WriteFile:1:once:112", "H2T|H3T|"},
        {1, "WriteFile:1:short", "H2T|H3T|"},
        {1, "GetModuleFileNameW:1:once:5", all},
        {2, "GetFileSizeEx:1:once:5", all},
        {2, "GetFileInformationByHandleEx:1:once:5", all},
        {2, "ReadFile:1:once:5", all},
        {2, "SetFilePointerEx:1:once:5", all},
        {2, "SetFilePointerEx:2:once:5", "H1T|H3T|"},
        {2, "WriteFile:1:once:112", "H1T|H3T|"},
        {2, "WaitForSingleObject:1:once:5", all},  // the level
        {2, "WaitForSingleObject:2:once:5", all},  // the path
        {2, "WaitForSingleObject:3:once:5", "H1T|H3T|"},
        {2, "ReleaseMutex:3:once:5", all},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.fault + (" at message " + std::to_string(c.message)));
        std::filesystem::remove(folder / "a.log");
        Reopen();
        for (int message = 1; message <= 3; ++message) {
            ASSERT_TRUE(message != c.message || FaultArmFromText(c.fault));
            Write(std::to_string(message).c_str());
            EXPECT_TRUE(message != c.message || FaultDisarm() > 0);
        }
        EXPECT_EQ(Shape(LogText(folder / "a.log")), c.shape);
    }
}

TEST_F(LogFileTest, ADeletedFileIsMadeAgain) {
    SetProcessLogFile(folder.wide("sub\\b.log"));
    Write("one");
    std::filesystem::remove(folder / "sub/b.log");
    Write("two");
    EXPECT_EQ(Messages("sub/b.log"), std::vector<std::string>{"two"});
    std::filesystem::remove_all(folder / "sub");
    Write("three");
    EXPECT_EQ(Messages("sub/b.log"), std::vector<std::string>{"three"});
}

TEST(SMOutput, UnloadDoesNotWaitForAThreadThatWaitsForTheRing) {
    LogViewer viewer;
    const WString own = WidePath(std::filesystem::path(HostOwnProgram()).filename());
    ASSERT_TRUE(viewer.LetAttach(own));
    const OwnedHandle mutex(CreateMutexW(nullptr, FALSE, RingMutexName(own).c_str()));
    auto* const output = new NSDBG::CSMOutput;
    std::future<int> attached;
    std::future<void> released;
    {
        const NamedLock lock(mutex.get(), 60000);
        ASSERT_TRUE(FaultArmFromText("WaitForSingleObject:9:once:5"));
        attached = std::async(std::launch::async, [&] { return output->Attach(); });
        while (FaultCalls("WaitForSingleObject") == 0) {
            std::this_thread::yield();
        }
        released = std::async(std::launch::async, [&] { output->Release(); });
        EXPECT_EQ(released.wait_for(std::chrono::seconds(60)), std::future_status::ready);
        FaultDisarm();
    }
    EXPECT_EQ(attached.get(), 1);
    released.get();
    output->Release();
}

// Logs into the process-wide file and, where the executable may not, into the module's own.
const TestRole g_registryRole("log-registry", [](const std::vector<std::string>& arguments) {
    SetProcessLogFile(Wide(arguments[0]));
    const std::unique_ptr<IDBGLogOutput, ReleaseOutput> output(new NSDBG::CFileOutput);
    {
        const OpenConfig config;
        SetText(config->entries[0].szLogFile, Wide(arguments[1]));
    }
    output->WriteLogW(0, 0, WIDE("text"));
    return output->GetLogLevel();
});

TEST_F(LogFileTest, ObeysTheRegistry) {
    const struct {
        const char* values;
        int level;
        const char* file;
    } cases[] = {
        {"", 2, "process.log"},
        {"\"dbglog_tests\"=dword:00000007\n", 7, "process.log"},
        {"\"DisableGlobalOption\"=\"x.exe  DBGLOG_tests\"\n", 2, "own.log"},
    };
    for (const auto& c : cases) {
        const RegistryFixture registry(std::string("[~\\Engine\\Debug]\n") + c.values);
        const TempFolder logs;
        HostChild child = HostChild::Start(RoleCommand(
            "log-registry", {Narrow(logs.wide("process.log")), Narrow(logs.wide("own.log"))}));
        EXPECT_EQ(child.Wait(60000), c.level) << c.values;
        EXPECT_NE(LogText(logs / c.file).find("] text   {"), std::string::npos) << c.values;
    }
}

}  // namespace
