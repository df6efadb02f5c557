#include "system/StopSignals.h"

#include <atomic>

#include "platform/OwnedHandle.h"
#include "system/windows/StopEvent.h"

namespace {

std::atomic<int> g_stopExitCode{0};
static_assert(std::atomic<int>::is_always_lock_free);

// Set with the first stop request; null while none is caught. Open to the end.
std::atomic<HANDLE> g_stopEvent{nullptr};

DWORD WINAPI EndHeldProcess(void*) {
    Sleep(kHostStopGraceSeconds * 1000);
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(HostStopExitCode()));
    return 0;
}

BOOL WINAPI RememberStop(DWORD event) {
    int none = 0;
    const int exitCode = event == CTRL_C_EVENT ? 130 : 143;
    if (!g_stopExitCode.compare_exchange_strong(none, exitCode)) {
        return FALSE;
    }
    SetEvent(g_stopEvent.load());
    // A thread, since the system serves a second request only when this one has returned.
    OwnedHandle(CreateThread(nullptr, 0, EndHeldProcess, nullptr, 0, nullptr));
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        // The system ends the process as soon as this returns, so the run gets the grace time.
        Sleep(INFINITE);
    }
    return TRUE;
}

}  // namespace

HANDLE StopEvent() {
    return g_stopEvent.load();
}

void HostCatchStopSignals() {
    if (StopEvent() == nullptr) {
        g_stopEvent.store(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    }
    SetConsoleCtrlHandler(RememberStop, TRUE);
}

int HostStopExitCode() {
    return g_stopExitCode.load(std::memory_order_relaxed);
}
