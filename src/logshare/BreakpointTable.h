// Setting breakpoints and releasing the threads that stopped: the tool's side of the table.
#pragma once

#include <deque>
#include <optional>
#include <vector>

#include "logshare/BreakpointBlock.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"

// A message at which threads stop.
struct LogBreakpointWish {
    WString executable;     // its file name; case does not count
    WString text{};         // part of the message; empty: every message
    DWORD dwProcessId = 0;  // 0: any
    DWORD dwThreadId = 0;   // 0: any
};

// The breakpoint table, joined or made, and the breakpoints that this object has set in it.
//
// Several tools may share the table. Each owns its breakpoints: the reserved bytes of an entry name
// an event that exists as long as its owner. A tool that finds the event gone knows that the owner
// died and releases what it left. Entries without such a mark belong to other programs; no
// operation changes them.
//
// A release sets the thread's event first and frees the slot second. A tool that dies in between
// leaves a slot without a thread, and releasing that once more does no harm. An entry is emptied
// only when all its hits are released; until then it is switched off, so that it gets no new ones.
// dbglog/Breakpoints.cpp describes the life of a hit on the library's side.
//
// Threads: one at a time. Every account may open the objects made here. No operation waits for the
// breakpoint mutex longer than 1 s; an operation that does not get it does nothing.
class BreakpointTable {
public:
    BreakpointTable();

    // Does what ReleaseMine does.
    ~BreakpointTable();
    BreakpointTable(const BreakpointTable&) = delete;
    BreakpointTable& operator=(const BreakpointTable&) = delete;

    // False when the objects could not be made or have a wrong type or size; the constructor left
    // the last error. No other operation does anything then.
    bool IsOpen() const { return m_table.has_value() && *m_table; }

    // Sets a breakpoint. Its id; nothing when the table is full or could not be locked, when the
    // executable is empty, and when one of the texts does not fit.
    std::optional<UUID> Add(const LogBreakpointWish& wish);

    // The threads stopped at this object's breakpoints that no earlier call has returned. The
    // caller releases them.
    std::vector<LogBreakpointHit> NewHits();

    // Releases the thread and frees its slot. False when that failed.
    bool ReleaseHit(const LogBreakpointHit& hit);

    // Releases all threads that stopped at this object's breakpoints, and empties its entries. A
    // thread whose hit event does not exist yet cannot be released by a tool that is about to end:
    // the entry stays, switched off, for ReleaseDead of another tool.
    void ReleaseMine();

    // Does the same for owners that have died, and also releases threads whose hit event does not
    // exist yet. Returns the number of threads released.
    int ReleaseDead();

    // Returns as soon as a thread has stopped somewhere, at the latest after the time. Another tool
    // may take the signal, so look at the hits in either case.
    bool Wait(DWORD milliseconds);

private:
    bool IsMine(const LogBreakpoint& entry) const;
    bool Signal(const UUID& hitId, bool weStay);
    int ReleaseEntry(LogBreakpoint& entry, bool weStay);
    void UpdateCount();

    BYTE m_mark[16] = {};  // what the reserved bytes of this object's entries hold
    OwnedHandle m_alive;   // the event that the mark names
    OwnedHandle m_block;
    OwnedHandle m_mutex;
    OwnedHandle m_event;
    std::optional<SharedView<LogBreakpointTable>> m_table;
    std::vector<UUID> m_listed;          // sorted ids of hits shown that are still there
    std::deque<OwnedHandle> m_released;  // hit events, set, of threads that do not wait yet
};
