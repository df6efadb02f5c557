// A process that is stopped while it holds a mutex of the log, and the threads of another one.
#include <algorithm>
#include <chrono>
#include <mutex>
#include <thread>

#include "LogFileFixture.h"
#include "TestRoles.h"
#include "logshare/NamedLock.h"
#include "platform/OwnedHandle.h"
#include "system/Child.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kTooLongMs = 120000;

// Never lets go of the mutex.
const TestRole g_stuck("hold-mutex", [](const std::vector<std::string>& arguments) {
    const OwnedHandle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, Wide(arguments[0]).c_str()));
    const OwnedHandle held(OpenEventW(EVENT_ALL_ACCESS, FALSE, Wide(arguments[1]).c_str()));
    const NamedLock lock(mutex.get(), kTooLongMs);
    SetEvent(held.get());
    std::this_thread::sleep_for(std::chrono::milliseconds(kTooLongMs));
    return 0;
});

// Gives the seconds that four threads take for a message each.
const TestRole g_beside("log-beside-stuck", [](const std::vector<std::string>& arguments) {
    SetProcessLogFile(Wide(arguments[1]));
    auto* const output = new NSDBG::CFileOutput;
    output->WriteLogW(1, 0, WIDE("first"));
    std::string file = Narrow(UpperCase(Wide(arguments[1])));
    std::replace(file.begin(), file.end(), '\\', '/');
    const std::string name =
        arguments[0] == "file" ? "Global\\" + file : Narrow(LogCfgMutexName(GetCurrentProcessId()));
    const std::string event = "Local\\held-" + std::to_string(GetCurrentProcessId());
    const OwnedHandle held(CreateEventW(nullptr, FALSE, FALSE, Wide(event).c_str()));
    HostChild holder = HostChild::Start(RoleCommand("hold-mutex", {name, event}));
    if (WaitForSingleObject(held.get(), kTooLongMs) != WAIT_OBJECT_0) {
        return 1000;
    }
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] { output->WriteLogW(1, 0, WIDE("beside")); });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
    holder.Kill();
    output->Release();
    return static_cast<int>(seconds.count());
});

TEST(StuckMutex, CostsEachThreadOneTimeLimit) {
    const TempFolder folder;
    std::vector<HostChild> hosts;
    for (const char* const which : {"file", "configuration"}) {
        hosts.push_back(
            HostChild::Start(RoleCommand("log-beside-stuck", {which, Narrow(folder.wide(which))})));
    }
    // One limit is 5 s, the limits of the threads one after the other are 20 s.
    for (HostChild& host : hosts) {
        const std::optional<int> seconds = host.Wait(kTooLongMs);
        ASSERT_TRUE(seconds.has_value());
        EXPECT_GE(*seconds, 4);
        EXPECT_LE(*seconds, 12);
    }
    // The messages do not depend on the configuration.
    EXPECT_EQ(MessagesOf(LogText(folder / "configuration")).size(), 5U);
}

}  // namespace
