#include "dbglog/Breakpoints.h"

#include <algorithm>
#include <string_view>

#include "logshare/RingBlock.h"
#include "logshare/SharedText.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"
#include "platform/Text.h"

// The life of a hit; BreakpointTable is the tool's side of it.
//
// 1. EnterHit, under the breakpoint mutex, writes hit id, process and thread into a free slot and
//    then the breakpoint's id, which makes it a hit.
// 2. The thread leaves all locks. StopAtHit makes the hit event, sets the breakpoint event so that
//    the tool looks, and waits in rounds of 5 s.
// 3. The tool, under the mutex, sets the hit event and then zeroes the breakpoint's id in the slot,
//    which frees it. The thread goes on without a look at the table.
//
// Between 1 and 2 there is no hit event. A tool that releases the hit in that moment makes the
// event itself, already set; StopAtHit then gets that event and its first wait ends at once.
//
// Without a release the thread goes on when no viewer runs, which it tests before each round, or
// when the event cannot be made or waited for. Its slot stays taken, as does that of a thread
// killed while stopped: only tools free slots, at the latest when one empties the entry.
namespace NSDBG {

namespace {

bool Meets(const LogBreakpoint& entry, const WString& processName,
           std::basic_string_view<WCHAR> message) {
    const auto covers = [](DWORD wanted, DWORD own) { return wanted == 0 || wanted == own; };
    return !IsZero(entry.id) && entry.dwEnabled != 0 &&
           covers(ReadOnce(entry.dwProcessId), GetCurrentProcessId()) &&
           covers(ReadOnce(entry.dwThreadId), GetCurrentThreadId()) &&
           EqualNoCase(TextOf(entry.szProcessName), processName) &&
           message.find(TextOf(entry.szText)) != message.npos;
}

// Writes the breakpoint's id last: until then the slot is free.
std::optional<UUID> FillFreeSlot(LogBreakpointTable& table, const UUID& breakpointId) {
    UUID hitId;
    if (UuidCreate(&hitId) != 0) {
        return std::nullopt;
    }
    auto* const slot =
        std::find_if(std::begin(table.hits), std::end(table.hits),
                     [](const LogBreakpointHit& hit) { return IsZero(hit.breakpointId); });
    if (slot == std::end(table.hits)) {
        return std::nullopt;
    }
    slot->hitId = hitId;
    slot->dwProcessId = GetCurrentProcessId();
    slot->dwThreadId = GetCurrentThreadId();
    slot->breakpointId = breakpointId;
    return hitId;
}

}  // namespace

BreakpointHandles::~BreakpointHandles() {
    for (HANDLE handle : {hMapping, hMutex, hEvent}) {
        if (handle != nullptr) {
            CloseHandle(handle);
        }
    }
}

std::unique_ptr<BreakpointHandles> BreakpointHandles::Open() {
    OwnedHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, kBreakpointEvent));
    if (!event) {
        return nullptr;
    }
    OwnedHandle mutex(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, kBreakpointMutex));
    if (!mutex) {
        return nullptr;
    }
    OwnedHandle block(OpenSharedBlock(kBreakpointBlock, kBreakpointLocalBlock));
    if (!block) {
        return nullptr;
    }
    auto handles = std::make_unique<BreakpointHandles>();
    handles->hMapping = block.release();
    handles->hMutex = mutex.release();
    handles->hEvent = event.release();
    return handles;
}

std::optional<UUID> EnterHit(const BreakpointHandles& handles, const WString& processName,
                             const WCHAR* message) {
    const NamedLock lock(handles.hMutex, kBreakpointWaitMs, &handles.patience);
    if (!lock.Owned()) {
        return std::nullopt;
    }
    const SharedView<LogBreakpointTable> table(handles.hMapping);
    if (!table || table->dwCount == 0) {
        return std::nullopt;
    }
    const auto* const entry = std::find_if(
        std::begin(table->entries), std::end(table->entries),
        [&](const LogBreakpoint& candidate) { return Meets(candidate, processName, message); });
    if (entry == std::end(table->entries)) {
        return std::nullopt;
    }
    return FillFreeSlot(*table, entry->id);
}

bool ViewerRuns() {
    return OwnedHandle(OpenEventW(SYNCHRONIZE, FALSE, kViewerPresenceEvent)) != nullptr;
}

void StopAtHit(const UUID& hitId, DWORD roundMs) {
    const OwnedHandle released(CreateSharedEvent(HitEventName(hitId)));
    if (!released) {
        return;
    }
    const OwnedHandle tool(OpenEventW(EVENT_MODIFY_STATE, FALSE, kBreakpointEvent));
    if (tool) {
        SetEvent(tool.get());
    }
    // Anything but a time-out ends the stop: the release, or a wait that fails.
    while (ViewerRuns() && WaitForSingleObject(released.get(), roundMs) == WAIT_TIMEOUT) {
    }
}

}  // namespace NSDBG
