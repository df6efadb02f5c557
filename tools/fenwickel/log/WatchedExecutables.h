// Which executables a watch reads: the named ones, or every one that loads the library.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "logshare/LogViewer.h"

// Tells on standard error when an executable joins. Both references must outlive the object.
class WatchedExecutables {
public:
    // who names the command in what is told.
    WatchedExecutables(LogViewer& viewer, const std::string& who) : m_viewer(viewer), m_who(who) {}

    // Watches the named executables. Throws Failure when one of them cannot be watched.
    void AddNamed(const std::vector<std::string>& names);

    // Watches every executable of which a process has a configuration block, this program
    // included. Throws Failure when there are some and others watch them all.
    void AddRunning();

    // The same about once a second, for those that were started since. What others watch is told
    // once and tried again.
    void AddRunningWhenDue();

private:
    LogWatch Add(const WString& executable);
    LogWatch AddOffered(const WString& executable);

    LogViewer& m_viewer;
    const std::string& m_who;
    std::set<WString> m_refused;  // told already
    std::chrono::steady_clock::time_point m_nextLook;
};
