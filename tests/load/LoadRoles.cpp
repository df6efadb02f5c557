#include "load/LoadRoles.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "CapturedLog.h"
#include "TestRoles.h"
#include "TestSupport.h"
#include "dbglog/DbgLogger.h"
#include "dbglog/FileOutput.h"
#include "logshare/BreakpointTable.h"
#include "logshare/LogViewer.h"
#include "logshare/NamedLock.h"
#include "platform/Text.h"
#include "system/Processes.h"

namespace {

using Arguments = std::vector<std::string>;  // the parent's process id and what the role needs

HANDLE TellEvent(const std::string& parent) {
    return CreateEventW(nullptr, FALSE, FALSE, Wide("Local\\fenwickel-load-" + parent).c_str());
}

// What the children of this process tell it by.
HANDLE OwnEvent() {
    static const OwnedHandle event(TellEvent(std::to_string(GetCurrentProcessId())));
    return event.get();
}

void TellParent(const Arguments& arguments) {
    SetEvent(OwnedHandle(TellEvent(arguments[0])).get());
}

int WriteOneFile(const Arguments& arguments) {
    SetProcessLogFile(Wide(arguments[1]));
    const int writer = std::stoi(arguments[2]);
    const auto logLines = [&](int thread) {
        for (int number = 0; number < LineCount(); ++number) {
            const WString text = Wide(Message(writer, thread, number));
            g_DbgLogger.Log(1, WIDE("%s"), text.c_str());
            if (thread == 0 && number == 0 && writer > kSteadyWriters) {
                TellParent(arguments);
            }
        }
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(logLines, thread);
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    return 0;
}

int Write(const Arguments& arguments) {
    NSDBG::g_logRollSize = static_cast<DWORD>(LineCount()) * 512;
    return WriteOneFile(arguments);
}

int HoldFileMutex(const Arguments& arguments) {
    WString name = UpperCase(Wide(arguments[1]));
    std::replace(name.begin(), name.end(), WIDE('\\'), WIDE('/'));
    OpenToAll everyone;
    const OwnedHandle mutex(CreateMutexW(everyone.get(), FALSE, (WIDE("Global\\") + name).c_str()));
    const NamedLock lock(mutex.get(), kPatienceMs);
    if (lock.Owned()) {
        TellParent(arguments);
        std::this_thread::sleep_for(std::chrono::milliseconds(kPatienceMs));
    }
    return 1;
}

int View(const Arguments& arguments) {
    BreakpointTable table;
    LogViewer viewer;
    const bool set =
        arguments[1] != "hold" || table.Add({OwnExecutable(), Wide(Message(1, 1, 0))}).has_value();
    if (!set || viewer.Watch(OwnExecutable()) != LogWatch::Watching) {
        return 1;
    }
    TellParent(arguments);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    std::list<CLogMessage*> messages;
    std::vector<LogLoss> losses;
    while (std::chrono::steady_clock::now() < end &&
           (messages.empty() || arguments[1] != "leave")) {
        viewer.Wait(20);
        viewer.Poll(&messages, &losses);
        if (!table.NewHits().empty()) {
            TellParent(arguments);
        }
    }
    return 0;
}

const TestRole g_writer("writer", Write);
const TestRole g_steadyWriter("steady writer", WriteOneFile);
const TestRole g_holder("holder", HoldFileMutex);
const TestRole g_viewer("viewer", View);

}  // namespace

int LoadSize(int usual, int full) {
    return std::getenv("FENWICKEL_FULL_LOAD") != nullptr ? full : usual;
}

int LineCount() {
    return LoadSize(LOAD_LINES, 10000);
}

std::string Message(int writer, int thread, int number) {
    return "w" + std::to_string(writer) + " t" + std::to_string(thread) + " n" +
           std::to_string(number) + ".";
}

WString OwnExecutable() {
    return WidePath(std::filesystem::path(HostOwnProgram()).filename());
}

HostChild StartRole(const std::string& role, const std::string& first, int writer) {
    const std::string parent = std::to_string(GetCurrentProcessId());
    OwnEvent();  // exists before a child can set it
    return HostChild::Start(RoleCommand(role, {parent, first, std::to_string(writer)}));
}

bool AwaitChild() {
    return WaitForSingleObject(OwnEvent(), kPatienceMs) == WAIT_OBJECT_0;
}
