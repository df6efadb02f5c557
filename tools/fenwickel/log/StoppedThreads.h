// The threads that stand at the breakpoints of a log break, from their stop to their release.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

#include "logshare/BreakpointTable.h"

// Lists hits and releases on standard output, a line each, written at once. The table must outlive
// the object and releases the threads that still stand when it is destroyed.
class StoppedThreads {
public:
    StoppedThreads(BreakpointTable& table, const std::string& executable, bool json)
        : m_table(table), m_executable(executable), m_json(json) {}

    // Lists the threads that stopped since the last call.
    void LookForHits();

    // Lets the thread go on that stopped first. Nothing when none stands.
    void ReleaseOldest();

    // Lets the threads go on that have stood for so long.
    void ReleaseOlderThan(std::chrono::seconds age);

    // Forgets the threads of processes that have ended.
    void ForgetEnded();

private:
    struct Stop {
        LogBreakpointHit hit;
        std::uint64_t number;
        std::chrono::steady_clock::time_point since;
    };

    void Tell(const Stop& stop, const char* event);

    BreakpointTable& m_table;
    const std::string m_executable;  // for output
    const bool m_json;
    std::deque<Stop> m_stops;  // in the order of their hits
    std::uint64_t m_count = 0;
};
