#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <future>
#include <utility>

#include "TestSupport.h"
#include "dbglog/SMOutput.h"
#include "logshare/BreakpointTable.h"
#include "logshare/LogViewer.h"
#include "platform/OwnedHandle.h"
#include "system/Processes.h"

namespace {

using namespace std::chrono_literals;

struct Breakpoints : testing::Test {
    // The hit of a message of this process, which is called HOST.EXE here.
    std::optional<UUID> Hit(const WCHAR* message) {
        return NSDBG::EnterHit(*handles, WIDE("HOST.EXE"), message);
    }

    BreakpointTable table;
    std::unique_ptr<NSDBG::BreakpointHandles> handles = NSDBG::BreakpointHandles::Open();
    SharedView<LogBreakpointTable> raw{handles->hMapping};
};

void FillHits(LogBreakpointTable& table) {
    for (LogBreakpointHit& slot : table.hits) {
        slot.breakpointId.Data1 = 1;
    }
}

TEST_F(Breakpoints, MatchByExecutableTextProcessAndThread) {
    const DWORD pid = GetCurrentProcessId();
    const DWORD tid = GetCurrentThreadId();
    const LogBreakpointWish any{WIDE("Host.exe"), WIDE("")};
    using Table = LogBreakpointTable;
    const struct {
        LogBreakpointWish wish;
        void (*spoil)(Table& table);
        bool hit;
    } cases[] = {
        {any, [](Table&) {}, true},
        {{WIDE("host.exe"), WIDE("disk full")}, [](Table&) {}, true},
        {{WIDE("host.exe"), WIDE("Disk")}, [](Table&) {}, false},
        {{WIDE("host"), WIDE("")}, [](Table&) {}, false},
        {{WIDE("host.exe"), WIDE(""), pid, tid}, [](Table&) {}, true},
        {{WIDE("host.exe"), WIDE(""), pid + 4, 0}, [](Table&) {}, false},
        {{WIDE("host.exe"), WIDE(""), 0, tid + 4}, [](Table&) {}, false},
        {any, [](Table& t) { t.dwCount = 0; }, false},
        {any, [](Table& t) { t.dwCount = 0xFFFFFFFFU; }, true},
        {any, [](Table& t) { t.entries[0].dwEnabled = 0; }, false},
        {any, [](Table& t) { std::swap(t.entries[99], t.entries[0]); }, true},
        {any, [](Table& t) { std::fill_n(t.entries[0].szText, 1024, WIDE('d')); }, false},
        {any, [](Table& t) { t.hits[0].breakpointId.Data1 = 1; }, true},
        {any, FillHits, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const std::optional<UUID> id = table.Add(c.wish);
        c.spoil(*raw);
        const std::optional<UUID> hit = Hit(WIDE("the disk full."));
        ASSERT_EQ(hit.has_value(), c.hit);
        if (hit) {
            const LogBreakpointHit& slot = raw->hits[raw->hits[0].breakpointId.Data1 == 1 ? 1 : 0];
            const LogBreakpointHit expected{*id, *hit, pid, tid};
            EXPECT_EQ(std::memcmp(&slot, &expected, sizeof slot), 0);
        }
        std::memset(&*raw, 0, sizeof *raw);
    }
}

TEST_F(Breakpoints, StopOneThreadUntilItIsReleased) {
    LogViewer viewer;
    const WString executable = WidePath(std::filesystem::path(HostOwnProgram()).filename());
    ASSERT_TRUE(viewer.LetAttach(executable));
    ASSERT_TRUE(table.Add({executable, WIDE("stop")}));
    auto* const output = new NSDBG::CSMOutput;
    auto stopped =
        std::async(std::launch::async, [&] { output->WriteLogW(1, 0, WIDE("stop here")); });
    std::vector<LogBreakpointHit> hits;
    for (int i = 0; i < 100 && hits.empty(); ++i) {
        table.Wait(100);
        hits = table.NewHits();
    }
    ASSERT_EQ(hits.size(), 1U);
    output->WriteLogW(1, 0, WIDE("others go on"));
    EXPECT_TRUE(table.NewHits().empty());
    EXPECT_EQ(stopped.wait_for(0s), std::future_status::timeout);
    EXPECT_TRUE(table.ReleaseHit(hits[0]));
    ASSERT_EQ(stopped.wait_for(60s), std::future_status::ready);
    EXPECT_TRUE(IsZero(raw->hits[0].breakpointId));
    table.ReleaseMine();
    EXPECT_TRUE(IsZero(raw->entries[0].id));
    output->Release();
}

TEST_F(Breakpoints, EndWithTheViewerAndWithAnEarlyRelease) {
    auto viewer = std::make_unique<LogViewer>();
    table.Add({WIDE("host.exe"), WIDE("")});
    const std::optional<UUID> early = Hit(WIDE("text"));
    EXPECT_TRUE(table.ReleaseHit(table.NewHits().at(0)));
    NSDBG::StopAtHit(*early);  // its thread comes to wait only now
    const std::optional<UUID> hit = Hit(WIDE("text"));
    auto stopped = std::async(std::launch::async, [&] { NSDBG::StopAtHit(*hit, 20); });
    EXPECT_EQ(stopped.wait_for(100ms), std::future_status::timeout);
    viewer.reset();
    EXPECT_EQ(stopped.wait_for(60s), std::future_status::ready);
}

// A thread that was killed between the entry of its hit and its event never comes for its signal.
TEST_F(Breakpoints, KeepFewSignalsForThreadsThatNeverCome) {
    constexpr DWORD kHits = 300;
    ASSERT_TRUE(table.Add({WIDE("host.exe"), WIDE("")}));
    for (DWORD i = 0; i < kHits; ++i) {
        raw->hits[i].hitId.Data1 = i + 1;
        raw->hits[i].breakpointId = raw->entries[0].id;
    }
    for (const LogBreakpointHit& hit : table.NewHits()) {
        EXPECT_TRUE(table.ReleaseHit(hit));
    }
    const auto isSignalled = [](DWORD number) {
        UUID hit{};
        hit.Data1 = number;
        const WString name = HitEventName(hit);
        return OwnedHandle(OpenEventW(SYNCHRONIZE, FALSE, name.c_str())) != nullptr;
    };
    EXPECT_FALSE(isSignalled(1));
    EXPECT_TRUE(isSignalled(kHits));
    EXPECT_TRUE(IsZero(raw->hits[0].breakpointId));
}

}  // namespace
