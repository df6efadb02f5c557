#include "StoppedThreads.h"

#include <algorithm>
#include <cstdio>

#include "LogRecordText.h"
#include "LogTime.h"
#include "report/Json.h"
#include "report/Output.h"
#include "system/Processes.h"

void StoppedThreads::Tell(const Stop& stop, const char* event) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    std::string text;
    if (m_json) {
        AppendJsonLine(text, {{"event", event},
                              {"hit", stop.number},
                              {"time", LocalTimeText(now)},
                              {"pid", std::uint64_t{stop.hit.dwProcessId}},
                              {"tid", std::uint64_t{stop.hit.dwThreadId}},
                              {"process", m_executable}});
    } else {
        char numbers[80];
        std::snprintf(numbers, sizeof numbers, " %6u %6u hit %llu %s\n",
                      static_cast<unsigned>(stop.hit.dwProcessId),
                      static_cast<unsigned>(stop.hit.dwThreadId),
                      static_cast<unsigned long long>(stop.number), event);
        text = LocalTimeText(now) + numbers;
    }
    PrintWhole(text);
}

void StoppedThreads::LookForHits() {
    for (const LogBreakpointHit& hit : m_table.NewHits()) {
        m_stops.push_back({hit, ++m_count, std::chrono::steady_clock::now()});
        Tell(m_stops.back(), "stopped");
    }
}

// A thread that could not be released now stays the oldest, so the next call tries it again.
void StoppedThreads::ReleaseOldest() {
    if (m_stops.empty() || !m_table.ReleaseHit(m_stops.front().hit)) {
        return;
    }
    const Stop stop = m_stops.front();
    m_stops.pop_front();
    Tell(stop, "released");
}

void StoppedThreads::ReleaseOlderThan(std::chrono::seconds age) {
    const auto limit = std::chrono::steady_clock::now() - age;
    for (std::size_t left = m_stops.size(); left > 0 && m_stops.front().since <= limit; --left) {
        ReleaseOldest();
    }
}

void StoppedThreads::ForgetEnded() {
    const auto ended = [this](const Stop& stop) {
        if (HostProcessRuns(stop.hit.dwProcessId) || !m_table.ReleaseHit(stop.hit)) {
            return false;
        }
        Tell(stop, "ended");
        return true;
    };
    m_stops.erase(std::remove_if(m_stops.begin(), m_stops.end(), ended), m_stops.end());
}
