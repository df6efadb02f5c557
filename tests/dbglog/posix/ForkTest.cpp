// Processes that fork and log in the child, and those that end while they log.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "LogFileFixture.h"
#include "TestRoles.h"
#include "dbglog/DbgLogger.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"
#include "system/Child.h"

namespace {

using Arguments = std::vector<std::string>;

constexpr int kThreads = 3;
constexpr int kForks = 12;
constexpr int kLines = 200;
constexpr int kLinesOfThreads = 3000;  // they log when the children are made
constexpr unsigned kHungSeconds = 60;

std::string Text(const std::string& who, int number) {
    return who + " says " + std::to_string(number) + ".";
}

void LogLines(const std::string& who, int count) {
    for (int number = 0; number < count; ++number) {
        g_DbgLogger.Log(1, WIDE("%s"), Wide(Text(who, number)).c_str());
    }
}

std::string Thread(int number) {
    return "thread " + std::to_string(number);
}

std::string Child(int number) {
    return "child " + std::to_string(number);
}

// A process that hangs is ended, and then its parent's wait tells of it.
const TestRole g_forker("fork-and-log", [](const Arguments& arguments) {
    SetProcessLogFile(Wide(arguments[0]));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back(LogLines, Thread(thread), kLinesOfThreads);
    }
    std::vector<pid_t> children;
    for (int number = 0; number < kForks; ++number) {
        children.push_back(fork());
        if (children.back() == 0) {
            alarm(kHungSeconds);
            LogLines(Child(number), kLines);
            _exit(0);
        }
    }
    int failures = 0;
    for (const pid_t child : children) {
        int status = 0;
        failures += waitpid(child, &status, 0) != child || status != 0 ? 1 : 0;
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    return failures;
});

TEST(Fork, ParentAndChildrenLoseNoLine) {
    const TempFolder folder;
    HostChild host = HostChild::Start(RoleCommand("fork-and-log", {Narrow(folder.wide("a.log"))}));
    EXPECT_EQ(host.Wait(4 * kHungSeconds * 1000), 0);
    std::vector<std::string> expected;
    const auto expect = [&](const std::string& who, int count) {
        for (int number = 0; number < count; ++number) {
            expected.push_back(Text(who, number));
        }
    };
    for (int number = 0; number < kForks; ++number) {
        expect(Child(number), kLines);
    }
    for (int thread = 0; thread < kThreads; ++thread) {
        expect(Thread(thread), kLinesOfThreads);
    }
    std::vector<std::string> found = MessagesOf(LogText(folder / "a.log"));
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found.size(), expected.size());
    EXPECT_TRUE(found == expected);
}

bool SetLevel(DWORD process, int level) {
    const OwnedHandle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, LogCfgMutexName(process).c_str()));
    const OwnedHandle mapping(
        OpenSharedBlock(LogCfgBlockName(process), LogCfgLocalBlockName(process)));
    const SharedView<LogCfgBlock> block(mapping.get());
    const NamedLock lock(mutex.get(), kLogCfgWaitMs);
    if (!mutex || !block || !lock.Owned() || block->entries[0].szModuleName[0] == 0) {
        return false;
    }
    block->nLevel = level;
    return true;
}

// The child says when it has logged, and goes on when it is told to.
const TestRole g_steered("fork-and-steer", [](const Arguments& arguments) {
    alarm(kHungSeconds);
    SetProcessLogFile(Wide(arguments[0]));
    g_DbgLogger.Log(1, WIDE("parent 1"));
    int toChild[2], toParent[2];
    if (pipe(toChild) != 0 || pipe(toParent) != 0) {
        return 1;
    }
    char byte = 0;
    const pid_t child = fork();
    if (child == 0) {
        alarm(kHungSeconds);
        for (const WCHAR* const text : {WIDE("child 1"), WIDE("child 2"), WIDE("child 3")}) {
            g_DbgLogger.Log(1, text);
            if (write(toParent[1], &byte, 1) != 1 || read(toChild[0], &byte, 1) != 1) {
                _exit(1);
            }
        }
        _exit(0);
    }
    bool done = read(toParent[0], &byte, 1) == 1;
    const auto next = [&](DWORD process, int level) {
        done = done && SetLevel(process, level) && write(toChild[1], &byte, 1) == 1 &&
               read(toParent[0], &byte, 1) == 1;
    };
    next(static_cast<DWORD>(child), 0);
    g_DbgLogger.Log(1, WIDE("parent 2"));
    next(static_cast<DWORD>(child), 1);
    done = done && SetLevel(GetCurrentProcessId(), 0) && write(toChild[1], &byte, 1) == 1;
    g_DbgLogger.Log(1, WIDE("parent 3"));
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0 && done ? 0 : 1;
});

TEST(Fork, TheChildsOwnIdSteersIt) {
    const TempFolder folder;
    HostChild host =
        HostChild::Start(RoleCommand("fork-and-steer", {Narrow(folder.wide("a.log"))}));
    EXPECT_EQ(host.Wait(2 * kHungSeconds * 1000), 0);
    EXPECT_EQ(MessagesOf(LogText(folder / "a.log")),
              (std::vector<std::string>{"parent 1", "child 1", "parent 2", "child 3"}));
}

// Its threads still log when the outputs are released and when static objects are destroyed.
const TestRole g_leaver("exit-while-logging", [](const Arguments& arguments) {
    SetProcessLogFile(Wide(arguments[0]));
    static std::atomic<int> logged{0};
    for (int thread = 0; thread < 8; ++thread) {
        std::thread([] {
            for (;;) {
                g_DbgLogger.Log(1, WIDE("%s"), WIDE("text"));
                ++logged;
            }
        }).detach();
    }
    while (logged < 40) {
        std::this_thread::yield();
    }
    std::exit(0);
    return 1;
});

TEST(Exit, DoesNotCrashWhileThreadsLog) {
    constexpr int kRuns = 60;
    const TempFolder folder;
    int clean = 0;
    for (int run = 0; run < kRuns; ++run) {
        HostChild host =
            HostChild::Start(RoleCommand("exit-while-logging", {Narrow(folder.wide("a.log"))}));
        clean += host.Wait(kHungSeconds * 1000) == 0 ? 1 : 0;
    }
    EXPECT_EQ(clean, kRuns);
}

}  // namespace
