#include "Patience.h"

#include <thread>

namespace {

constexpr std::chrono::milliseconds kAttemptNap{20};

}  // namespace

bool Patience::Nap() const {
    if (std::chrono::steady_clock::now() >= m_end) {
        return false;
    }
    std::this_thread::sleep_for(kAttemptNap);
    return true;
}
