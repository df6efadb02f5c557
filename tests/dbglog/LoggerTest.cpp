#include <gtest/gtest.h>

#include "CapturedLog.h"
#include "TestRoles.h"
#include "TestSupport.h"
#include "dbglog/DbgLogger.h"
#include "system/Child.h"

namespace {

// Remembers what it is asked and given.
class RecordingOutput final : public IDBGLogOutput {
public:
    explicit RecordingOutput(int threshold, std::string& events, const char* name)
        : m_threshold(threshold), m_events(events), m_name(name) {}
    void Release() override {
        m_events += m_name + "-release ";
        delete this;
    }
    void WriteLogA(int, unsigned int, const char*) override { m_events += "unexpected "; }
    void WriteLogW(int level, unsigned int errorCode, const WCHAR* text) override {
        EXPECT_EQ(errorCode, 0U);
        m_events += m_name + std::to_string(level) + "(" + Narrow(text) + ") ";
        if (WString(text) == WIDE("too much")) {
            throw std::bad_alloc();
        }
    }
    int GetLogLevel() override {
        m_events += m_name + "? ";
        return m_threshold;
    }

private:
    int m_threshold;
    std::string& m_events;
    std::string m_name;
};

std::string EventsOf(int fileThreshold, int smThreshold, int level, const WString& text) {
    std::string events;
    CDbgLogger logger;
    logger.Log(level, WIDE("lost"));
    logger.Attach(new RecordingOutput(fileThreshold, events, "file"),
                  new RecordingOutput(smThreshold, events, "sm"));
    logger.Log(level, WIDE("%s"), text.c_str());
    logger.Detach();
    logger.Log(level, WIDE("lost"));
    return events;
}

TEST(Logger, PassesByLevelAndCleansText) {
    const std::string end = "file-release sm-release ";
    const std::string cut(1023, 'x');
    const struct {
        int file, sm, level;
        std::string text, events;
    } cases[] = {
        {2, 0, 1, "text", "file? file1(text) sm1(text) "},
        {2, 9999, 2, "text", "file? file2(text) sm2(text) "},
        {9999, 9999, 3, "dropped before it is formatted", ""},
        {0, 0, 1, "wanted by nobody", "file? sm? "},
        {0, 9999, 1, "viewer only", "file? sm? file1(viewer only) sm1(viewer only) "},
        {2, 0, 1, "too much", "file? file1(too much) sm1(too much) "},
        {2, 0, 1, "\n\nword\n", "file? file1(word) sm1(word) "},
        {2, 0, 1, "\n\n\n", "file? file1() sm1() "},
        {2, 0, 1, "kept\r\n", "file? file1(kept\r) sm1(kept\r) "},
        {2, 0, 1, cut + "yz", "file? file1(" + cut + ") sm1(" + cut + ") "},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(EventsOf(c.file, c.sm, c.level, Wide(c.text)), c.events + end) << c.text;
    }
}

// Logs when the outputs are gone already: it was made before them, so it goes after them.
struct LateLogger {
    ~LateLogger() {
        if (enabled) {
            g_DbgLogger.Log(1, WIDE("after unload"));
        }
    }
    bool enabled = false;
};
[[gnu::init_priority(101)]] LateLogger g_lateLogger;

const TestRole g_lateRole("log-after-unload", [](const std::vector<std::string>& arguments) {
    SetProcessLogFile(Wide(arguments[0]));
    g_DbgLogger.Log(1, WIDE("before unload"));
    g_lateLogger.enabled = true;
    return 7;
});

TEST(Logger, DoesNothingAfterUnload) {
    const TempFolder folder;
    HostChild child =
        HostChild::Start(RoleCommand("log-after-unload", {Narrow(folder.wide("log"))}));
    EXPECT_EQ(child.Wait(60000), 7);
    const std::string text = LogText(folder / "log");
    EXPECT_NE(text.find("before unload"), std::string::npos);
    EXPECT_EQ(text.find("after unload"), std::string::npos);
}

}  // namespace
