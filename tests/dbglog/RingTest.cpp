#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <thread>

#include "TestSupport.h"
#include "dbglog/SMOutput.h"
#include "logshare/LogViewer.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"
#include "platform/OwnedHandle.h"
#include "system/Processes.h"

namespace {

using Texts = std::vector<std::string>;

WString NewName() {
    static int count = 0;
    return Wide("Ring-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(++count));
}

// A ring with its event and a writer.
struct TestRing {
    explicit TestRing(const WString& ofName = NewName()) : name(ofName) {}
    void Write(int first, int count) {
        for (int i = first; i < first + count; ++i) {
            writer.Write(1, 0, nullptr, Wide(std::to_string(i)).c_str());
        }
    }

    WString name;
    OwnedHandle event{CreateEventW(nullptr, FALSE, FALSE, RingEventName(name).c_str())};
    CLogShareMemory writer{name};
    int created = writer.CreateRing();
    OwnedHandle block{OpenSharedBlock(RingBlockName(name), RingLocalBlockName(name))};
};

Texts TakeTexts(std::list<CLogMessage*> messages) {
    Texts texts;
    for (CLogMessage* message : messages) {
        texts.push_back(Narrow(message->GetText()));
        message->Release();
    }
    return texts;
}

// What a look brings: "(lost N)" for a loss, then the texts, then an empty one.
Texts Look(LogViewer& viewer) {
    std::list<CLogMessage*> messages;
    std::vector<LogLoss> losses;
    viewer.Poll(&messages, &losses);
    Texts seen = TakeTexts(messages);
    for (const LogLoss& loss : losses) {
        seen.insert(seen.begin(), "(lost " + std::to_string(loss.count) + ")");
    }
    seen.emplace_back();
    return seen;
}

TEST(Ring, HoldsRecordsInTurn) {
    EXPECT_EQ(CLogShareMemory(WIDE("nobody-watches.exe")).CreateRing(), 0);
    TestRing ring;
    const SharedView<LogRing> view(ring.block.get());
    const LogRecord& record = view->slots[0];
    ring.writer.Write(1, 7, nullptr, WIDE(""));
    EXPECT_EQ(WaitForSingleObject(ring.event.get(), 0), WAIT_TIMEOUT);
    ring.writer.Write(-3, 0xABCDEF01U, WString(200, WIDE('m')).c_str(), WIDE("\u00e9"));
    EXPECT_EQ(WaitForSingleObject(ring.event.get(), 0), WAIT_OBJECT_0);
    EXPECT_EQ(view->nReadIndex, -1);
    EXPECT_EQ(WString(record.szProcessName), UpperCase(ring.name));
    EXPECT_EQ(WString(record.szModuleName), WString(127, WIDE('m')));
    EXPECT_EQ(record.nLevel, -3);
    EXPECT_EQ(record.dwProcessId, GetCurrentProcessId());
    EXPECT_EQ(WString(record.szText), WIDE("\u00e9"));
    auto* const message = new CLogMessage(record);
    EXPECT_TRUE(message->GetHeader().ends_with(WIDE("   0XABCDEF01] ")));
    EXPECT_EQ(message->AddRef(), 2);
    ring.writer.Write(1, 0, nullptr, WString(1500, WIDE('x')).c_str());
    EXPECT_EQ(WString(view->slots[1].szText), WString(1023, WIDE('x')));
    ring.Write(2, 1023);
    EXPECT_EQ(WString(record.szText), WIDE("1024"));
    EXPECT_EQ(message->GetText(), WIDE("\u00e9"));
    EXPECT_EQ(message->Release() + message->Release(), 1);
    std::fill(std::begin(view->slots[1].szText), std::end(view->slots[1].szText), WIDE('x'));
    EXPECT_EQ(CLogMessage(view->slots[1]).GetText().size(), kRingTextCapacity);
}

TEST(Ring, WildIndicesStayInside) {
    constexpr LONGLONG kMax = std::numeric_limits<LONGLONG>::max();
    const struct {
        LONGLONG taken, written;
        int readable;
        std::size_t count, next;  // of messages that are read; slot of the next record
        const char* viewer;       // what a viewer sees first
    } cases[] = {
        {-1, -1, 0, 0, 0, "next"},         {3, 5, 1, 2, 6, "4"},
        {-2, 5, 0, 0, 6, "(lost 0)"},      {-1, -2, 0, 0, 1023, ""},
        {5, 3, 1, 0, 4, "(lost 0)"},       {0, -kMax - 1, 0, 0, 1, "(lost 0)"},
        {kMax, 3, 1, 0, 4, "(lost 0)"},    {0, (1 << 20) + 1, 0, 0, 2, "(lost 1047554)"},
        {5, 1029, 1, 1024, 6, "(lost 1)"}, {5, 1028, 1, 1023, 5, "x"},
        {-1, kMax, 0, 0, 0, "(lost 0)"},   {kMax - 2, kMax, 1, 2, 0, "(lost 0)"},
    };
    TestRing ring;
    LogViewer viewer;
    ASSERT_EQ(viewer.Watch(ring.name), LogWatch::Watching);
    const SharedView<LogRing> view(ring.block.get());
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.taken) + " " + std::to_string(c.written));
        SetText(view->slots[4].szText, WIDE("4"));
        SetText(view->slots[6].szText, WIDE("x"));
        view->nReadIndex = c.taken;
        view->nWriteIndex = c.written;
        std::list<CLogMessage*> messages;
        EXPECT_EQ(ring.writer.Read(&messages), c.readable);
        EXPECT_EQ(TakeTexts(messages).size(), c.count);
        view->nReadIndex = c.taken;
        ring.writer.Write(1, 0, nullptr, WIDE("next"));
        EXPECT_EQ(WString(view->slots[c.next].szText), WIDE("next"));
        EXPECT_EQ(Look(viewer).front(), c.viewer);
    }
}

TEST(Ring, PlantedSmallBlockTakesNothing) {
    const WString name = NewName();
    const OwnedHandle planted(CreateSharedBlock(RingBlockName(name), RingLocalBlockName(name), 99));
    TestRing ring(name);
    EXPECT_EQ(ring.created, 1);
    ring.Write(1, 1);
    std::list<CLogMessage*> messages;
    EXPECT_EQ(ring.writer.Read(&messages), 0);
}

// The presence without a viewer's mark: of a killed viewer, held by a busy writer for a moment, or
// of one that starts now and has not made its mark yet.
TEST(Ring, APresenceIsLookedAtTwice) {
    const auto made = [](const WString& event) {
        return OwnedHandle(CreateEventW(OpenToAll().get(), FALSE, FALSE, event.c_str()));
    };
    for (const bool isMarked : {false, true}) {
        const WString name = NewName();
        const OwnedHandle ring = made(RingEventName(name));
        OwnedHandle held = made(kViewerPresenceEvent);
        OwnedHandle mark;
        std::thread other([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            (isMarked ? mark : held) =
                isMarked ? made(WIDE("Global\\FENWICKEL_LOG_VIEWER")) : OwnedHandle();
        });
        EXPECT_EQ(LogViewer().Watch(name), LogWatch::Watching) << isMarked;
        other.join();
    }
}

TEST(Ring, OutputFollowsTheViewer) {
    const WString own = WidePath(std::filesystem::path(HostOwnProgram()).filename());
    auto* const output = new NSDBG::CSMOutput;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(output->GetLogLevel(), 0) << "another viewer runs";
        output->WriteLogW(1, 0, WIDE("nobody is there"));
        LogViewer viewer;
        EXPECT_EQ(output->GetLogLevel(), 9999);
        EXPECT_EQ(output->Attach(), 0);
        ASSERT_EQ(viewer.Watch(own), LogWatch::Watching);
        EXPECT_EQ(LogViewer().Watch(UpperCase(own)), LogWatch::Taken);
        output->WriteLogA(9000, 0, "ansi");
        output->WriteLogA(1, 0, std::string(2000, 'x').c_str());
        output->WriteLogW(1, 5, WIDE("wide"));
        EXPECT_TRUE(viewer.Wait(5000));
        EXPECT_EQ(Look(viewer), (Texts{"ansi", "wide", ""}));
    }
    output->Release();
}

}  // namespace
