// The line on a terminal that shows how far a run is.
#pragma once

#include <atomic>
#include <thread>

#include "listing/JobControl.h"

// Rewrites one line of standard error from construction to destruction, which clears it. Only for
// a terminal. Uses no colour. Without a thread to be had it shows nothing.
class Progress {
public:
    // The control object must outlive the progress line.
    explicit Progress(const JobControl& control);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

private:
    void Run();

    const JobControl& m_control;
    std::atomic<bool> m_ended = false;
    std::thread m_thread;
};
