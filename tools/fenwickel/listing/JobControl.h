// The control object of a run: carries the stop request in and the first error code out.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "fenwickel/SyncJobControl.h"

// Called from four threads at once, several times for every file: nothing here makes two threads
// write to one cache line.
class JobControl final : public ISyncJobControl {
public:
    // counting: the calls are counted, for a progress line.
    JobControl(bool forceAllChanged, bool counting)
        : m_forceAllChanged(forceAllChanged), m_counting(counting) {}

    bool IsStopRequested() override;
    int GetErrorCode() override { return m_errorCode.load(std::memory_order_relaxed); }
    // The first code stays.
    void SetErrorCode(int errorCode) override;
    bool ForceAllChanged() override;

    // About how many files were examined so far; 0 without counting. Any thread.
    std::uint64_t FilesSeen() const;
    // How many of them the previous listing knows.
    std::uint64_t FilesKnown() const;

private:
    // The counts of one calling thread.
    struct alignas(64) Counts {
        std::atomic<std::uint64_t> stopCalls = 0;
        std::atomic<std::uint64_t> forceCalls = 0;
    };

    Counts& OwnCounts();

    const bool m_forceAllChanged;
    const bool m_counting;
    std::atomic<int> m_errorCode = 0;
    std::atomic<unsigned> m_threads = 0;
    std::array<Counts, 8> m_counts;
};
