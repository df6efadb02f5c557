#include "Patience.h"

#include <thread>

#include "system/StopSignals.h"

namespace {

constexpr std::chrono::milliseconds kAttemptNap{10};

}  // namespace

bool Patience::Nap() const {
    if (HostStopExitCode() != 0 || std::chrono::steady_clock::now() >= m_end) {
        return false;
    }
    std::this_thread::sleep_for(kAttemptNap);
    return true;
}
