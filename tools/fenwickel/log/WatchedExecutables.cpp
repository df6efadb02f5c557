#include "WatchedExecutables.h"

#include <cstdio>

#include "ExecutableName.h"
#include "logshare/ConfigBlock.h"
#include "logshare/NamedLock.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Processes.h"

namespace {

constexpr std::chrono::seconds kLookPause{1};

// The library makes the block when it is loaded; it goes with the process.
bool LoadsLibrary(const HostProcess& process) {
    const OwnedHandle block(
        OpenSharedBlock(LogCfgBlockName(process.id), LogCfgLocalBlockName(process.id)));
    return block != nullptr;
}

std::set<WString> RunningExecutables() {
    std::set<WString> names;
    for (const HostProcess& process : HostProcesses()) {
        if (LoadsLibrary(process)) {
            names.insert(UpperCase(process.name));
        }
    }
    return names;
}

Failure Refusal(LogWatch outcome, const WString& executable) {
    if (outcome == LogWatch::Taken) {
        return {ExitCode::Held, "cannot watch " + Quoted(executable) +
                                    ": another viewer watches it already: end that one first"};
    }
    return SystemFailure(ExitCode::Failed, "watch", executable, GetLastError(),
                         "check the name, and whether another account made objects of that name");
}

}  // namespace

LogWatch WatchedExecutables::Add(const WString& executable) {
    if (m_viewer.Watches(executable)) {
        return LogWatch::Watching;
    }
    const LogWatch outcome = m_viewer.Watch(executable);
    if (outcome == LogWatch::Watching) {
        std::fprintf(stderr, "%s: watching %s\n", m_who.c_str(), Quoted(executable).c_str());
    }
    return outcome;
}

LogWatch WatchedExecutables::AddOffered(const WString& executable) {
    const LogWatch outcome = Add(executable);
    if (outcome == LogWatch::Watching) {
        m_refused.erase(executable);
    } else if (m_refused.insert(executable).second) {
        std::fprintf(stderr, "%s: %s\n", m_who.c_str(), Refusal(outcome, executable).what());
    }
    return outcome;
}

void WatchedExecutables::AddNamed(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        const WString executable = ExecutableName(name);
        const LogWatch outcome = Add(executable);
        if (outcome != LogWatch::Watching) {
            throw Refusal(outcome, executable);
        }
    }
}

void WatchedExecutables::AddRunning() {
    const std::set<WString> names = RunningExecutables();
    bool any = names.empty();
    for (const WString& name : names) {
        any = AddOffered(name) == LogWatch::Watching || any;
    }
    m_nextLook = std::chrono::steady_clock::now() + kLookPause;
    if (!any) {
        throw Failure(ExitCode::Held,
                      "nothing left to watch: other viewers watch every executable that loads the "
                      "library: end one of them first");
    }
}

void WatchedExecutables::AddRunningWhenDue() {
    if (std::chrono::steady_clock::now() < m_nextLook) {
        return;
    }
    for (const WString& name : RunningExecutables()) {
        AddOffered(name);
    }
    m_nextLook = std::chrono::steady_clock::now() + kLookPause;
}
