#include "JobControl.h"

#include "system/StopSignals.h"

namespace {

// Only the owner of the counter writes it: a plain load and store, no locked instruction.
void Add(std::atomic<std::uint64_t>& counter) {
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

}  // namespace

JobControl::Counts& JobControl::OwnCounts() {
    thread_local const unsigned slot = m_threads.fetch_add(1, std::memory_order_relaxed);
    return m_counts[slot % m_counts.size()];
}

bool JobControl::IsStopRequested() {
    if (m_counting) {
        Add(OwnCounts().stopCalls);
    }
    return HostStopExitCode() != 0;
}

void JobControl::SetErrorCode(int errorCode) {
    int none = 0;
    m_errorCode.compare_exchange_strong(none, errorCode, std::memory_order_relaxed);
}

bool JobControl::ForceAllChanged() {
    if (m_counting) {
        Add(OwnCounts().forceCalls);
    }
    return m_forceAllChanged;
}

// The library asks twice for a file, once where it is checked and once where it is stored.
std::uint64_t JobControl::FilesSeen() const {
    std::uint64_t calls = 0;
    for (const Counts& counts : m_counts) {
        calls += counts.stopCalls.load(std::memory_order_relaxed);
    }
    return calls / 2;
}

std::uint64_t JobControl::FilesKnown() const {
    std::uint64_t calls = 0;
    for (const Counts& counts : m_counts) {
        calls += counts.forceCalls.load(std::memory_order_relaxed);
    }
    return calls;
}
