// How long the tool waits for other programs that have a file open.
#pragma once

#include <chrono>

// What a run has made is not given up because another program looks into a file for a moment: on
// some systems a file that is open cannot be replaced, renamed or deleted.
inline constexpr std::chrono::seconds kFilePatience{10};

// The naps between attempts, from construction until the time is over. A stop request does not end
// them: the end of a stopped run is written down, too.
class Patience {
public:
    explicit Patience(std::chrono::milliseconds limit)
        : m_end(std::chrono::steady_clock::now() + limit) {}

    // Sleeps a moment before the next attempt. False at once when the time is over.
    bool Nap() const;

private:
    std::chrono::steady_clock::time_point m_end;
};
