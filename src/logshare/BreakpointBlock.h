// The breakpoint table: texts at which a logging thread stops, and the threads that are stopped.
// docs/log-breakpoints.md shows the layout; little-endian, text UTF-16, zero-terminated inside its
// field.
//
// Read and written only while the breakpoint mutex is held. The tool makes the block, its mutex and
// its event, fills the entries and frees hit slots; the library fills free hit slots.
#pragma once

#include <cstddef>

#include "platform/Platform.h"

inline constexpr std::size_t kBreakpointCount = 100;
inline constexpr std::size_t kHitCount = 10000;
inline constexpr std::size_t kBreakpointNameCapacity = 260;   // units, terminator included
inline constexpr std::size_t kBreakpointTextCapacity = 1024;  // units, terminator included

struct LogBreakpoint {
    UUID id;                                       // all zero: unused
    BYTE reserved[16];                             // not read by the library
    DWORD dwProcessId;                             // 0: any
    DWORD dwThreadId;                              // 0: any
    DWORD dwEnabled;                               // 0: switched off
    WCHAR szProcessName[kBreakpointNameCapacity];  // compared ignoring case
    WCHAR szText[kBreakpointTextCapacity];  // part of the message, case counts; empty: every one
};

struct LogBreakpointHit {
    UUID breakpointId;  // all zero: free
    UUID hitId;         // names the event for which the thread waits
    DWORD dwProcessId;
    DWORD dwThreadId;
};

struct LogBreakpointTable {
    DWORD dwCount;  // 0 switches the table off
    LogBreakpoint entries[kBreakpointCount];
    LogBreakpointHit hits[kHitCount];
};

static_assert(sizeof(UUID) == 16);
static_assert(sizeof(LogBreakpoint) == 2612);
static_assert(offsetof(LogBreakpoint, reserved) == 16);
static_assert(offsetof(LogBreakpoint, dwProcessId) == 32);
static_assert(offsetof(LogBreakpoint, dwThreadId) == 36);
static_assert(offsetof(LogBreakpoint, dwEnabled) == 40);
static_assert(offsetof(LogBreakpoint, szProcessName) == 44);
static_assert(offsetof(LogBreakpoint, szText) == 564);
static_assert(sizeof(LogBreakpointHit) == 40);
static_assert(offsetof(LogBreakpointHit, hitId) == 16);
static_assert(offsetof(LogBreakpointHit, dwProcessId) == 32);
static_assert(offsetof(LogBreakpointHit, dwThreadId) == 36);
static_assert(sizeof(LogBreakpointTable) == 661204);
static_assert(offsetof(LogBreakpointTable, entries) == 4);
static_assert(offsetof(LogBreakpointTable, hits) == 261204);

inline constexpr const WCHAR* kBreakpointEvent =
    WIDE("Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_EVENT");
inline constexpr const WCHAR* kBreakpointMutex =
    WIDE("Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_MU_BREAKPOINTS");
inline constexpr const WCHAR* kBreakpointBlock =
    WIDE("Global\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_SM_BREAKPOINTS");
inline constexpr const WCHAR* kBreakpointLocalBlock =
    WIDE("Local\\3B66FDF6-4FBE-45F5-8A86-8915C3184D5B_SM_BREAKPOINTS");

// "Global\BPHIT_EVENT_" and the upper-case string form of the hit id; the library makes the event.
WString HitEventName(const UUID& hitId);

// The string form of RFC 4122 in upper case, without braces.
WString UuidText(const UUID& id);

bool IsZero(const UUID& id);

// Time limits in milliseconds: of the waits for the mutex, and of one wait for a hit event, after
// which the viewer's presence is tested again.
inline constexpr DWORD kBreakpointWaitMs = 10000;
inline constexpr DWORD kHitWaitMs = 5000;
