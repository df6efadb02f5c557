// Stopping a thread at a message that an outside tool has named.
#pragma once

#include <memory>
#include <optional>

#include "fenwickel/Types.h"
#include "logshare/BreakpointBlock.h"
#include "logshare/NamedLock.h"

namespace NSDBG {

// The tool's breakpoint table, opened by the library. Owns the handles; the order is fixed.
struct BreakpointHandles {
    HANDLE hMapping = nullptr;
    HANDLE hMutex = nullptr;
    HANDLE hEvent = nullptr;
    mutable LockPatience patience;  // with hMutex

    BreakpointHandles() = default;
    BreakpointHandles(const BreakpointHandles&) = delete;
    BreakpointHandles& operator=(const BreakpointHandles&) = delete;
    ~BreakpointHandles();

    // Null when one of the three does not exist.
    static std::unique_ptr<BreakpointHandles> Open();
};

// Looks for the first breakpoint that the message of the calling thread meets and, when there is a
// free hit slot, enters the hit. The hit's id, or nothing when the thread does not stop. Waits for
// the breakpoint mutex at most 10 s.
std::optional<UUID> EnterHit(const BreakpointHandles& handles, const WString& processName,
                             const WCHAR* message);

// True while a viewer runs.
bool ViewerRuns();

// Blocks the calling thread until the tool releases the hit or no viewer runs any more, which is
// tested every roundMs. The caller holds no lock. Another thread may close the handles of the table
// meanwhile, so this uses none of them.
void StopAtHit(const UUID& hitId, DWORD roundMs = kHitWaitMs);

}  // namespace NSDBG
