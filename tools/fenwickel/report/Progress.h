// The line on a terminal that shows how far a run is.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

// Rewrites one line of standard error from construction to destruction, which clears it. Only for
// a terminal. Uses no colour. Shows nothing when the system refuses a thread.
class Progress {
public:
    // lineAfter gives the text after so many seconds; a thread of this object calls it, until the
    // destructor returns.
    explicit Progress(std::function<std::string(double seconds)> lineAfter);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

private:
    void Run();

    const std::function<std::string(double)> m_lineAfter;
    std::atomic<bool> m_ended = false;
    std::thread m_thread;
};
