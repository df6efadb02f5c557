// Events with names: one word of shared memory on which processes sleep.
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>

#include "platform/posix/Waitable.h"
#include "platform/posix/named/NamedObject.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

// The process that sets an event may be killed before it wakes the sleepers, so they also poll.
constexpr nanoseconds kLongestSleep = std::chrono::milliseconds(100);

class NamedEvent final : public EventObject {
public:
    explicit NamedEvent(NamedUse use) : m_use(std::move(use)) {}

    DWORD Wait(DWORD milliseconds) override;
    void Set() override;
    void Reset() override { Word().store(0); }

private:
    std::atomic<std::uint32_t>& Word() const { return m_use->memory.header()->word; }
    bool TryTake() const;
    void SleepWhileUnset(nanoseconds longest) const;

    NamedUse m_use;
};

bool NamedEvent::TryTake() const {
    if (m_use->manualReset) {
        return Word().load() != 0;
    }
    return Word().load() != 0 && Word().exchange(0) != 0;
}

void NamedEvent::SleepWhileUnset(nanoseconds longest) const {
    const timespec time{0, static_cast<long>(std::min(longest, kLongestSleep).count())};
    syscall(SYS_futex, &Word(), FUTEX_WAIT, 0, &time, nullptr, 0);
}

DWORD NamedEvent::Wait(DWORD limit) {
    if (TryTake()) {
        return WAIT_OBJECT_0;
    }
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(limit);
    for (;;) {
        const nanoseconds left = limit == INFINITE ? kLongestSleep : end - Clock::now();
        if (left <= nanoseconds::zero()) {
            return TryTake() ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
        }
        SleepWhileUnset(left);
        if (TryTake()) {
            return WAIT_OBJECT_0;
        }
    }
}

// All are woken, also where one alone gets through: the one might be killed before it does.
void NamedEvent::Set() {
    if (Word().exchange(1) == 0) {
        syscall(SYS_futex, &Word(), FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    }
}

}  // namespace

HANDLE CreateNamedEvent(const SECURITY_ATTRIBUTES* security, bool manualReset, bool set,
                        const WCHAR* name) {
    NewObject wanted;
    wanted.kind = NamedKind::Event;
    wanted.manualReset = manualReset;
    wanted.initial = set;
    return HandleOf<NamedEvent>(CreateNamed(name, wanted, security));
}

HANDLE OpenEventW(DWORD, BOOL inherit, const WCHAR* name) {
    if (FaultFails("OpenEventW")) {
        return nullptr;
    }
    return HandleOf<NamedEvent>(OpenNamed(name, NamedKind::Event, inherit));
}
