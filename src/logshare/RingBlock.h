// The ring through which a live viewer reads the messages of one executable. docs/log-ring.md shows
// the layout; little-endian, text UTF-16 and zero-terminated inside its field.
//
// Read and written only while the ring mutex is held. Any account may write here, so indices may be
// wild and terminators missing.
#pragma once

#include <cstddef>

#include "platform/Platform.h"

inline constexpr std::size_t kRingSlots = 1024;
inline constexpr std::size_t kRingNameCapacity = 128;   // units, terminator included
inline constexpr std::size_t kRingTextCapacity = 1024;  // units, terminator included
inline constexpr LONGLONG kNoRingIndex = -1;

struct LogRecord {
    WCHAR szProcessName[kRingNameCapacity];  // upper case
    WCHAR szModuleName[kRingNameCapacity];   // all zero: unknown
    SYSTEMTIME time;                         // local
    DWORD dwErrorCode;                       // 0 none
    int nLevel;
    DWORD dwProcessId;
    DWORD dwThreadId;
    WCHAR szText[kRingTextCapacity];
};

struct LogRing {
    LONGLONG nReadIndex;          // last record taken by the reader; -1 none
    LONGLONG nWriteIndex;         // last record written; -1 none
    BYTE reserved[496];           // zero
    LogRecord slots[kRingSlots];  // record n is in slot n modulo 1024
};

static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(LogRecord) == 2592);
static_assert(offsetof(LogRecord, szModuleName) == 256);
static_assert(offsetof(LogRecord, time) == 512);
static_assert(offsetof(LogRecord, dwErrorCode) == 528);
static_assert(offsetof(LogRecord, nLevel) == 532);
static_assert(offsetof(LogRecord, dwProcessId) == 536);
static_assert(offsetof(LogRecord, dwThreadId) == 540);
static_assert(offsetof(LogRecord, szText) == 544);
static_assert(sizeof(LogRing) == 2654720);
static_assert(offsetof(LogRing, nWriteIndex) == 8);
static_assert(offsetof(LogRing, reserved) == 16);
static_assert(offsetof(LogRing, slots) == 512);

// Exists while a viewer runs; the viewer makes it.
inline constexpr const WCHAR* kViewerPresenceEvent =
    WIDE("Global\\EVENT_9CF42DA4-ACD1-4F3F-8D6F-31023974A079");

// Objects of the ring of an executable; the name is its file name and is put into upper case.
WString RingEventName(const WString& executable);  // the viewer makes it; set after every record
WString RingMutexName(const WString& executable);
WString RingBlockName(const WString& executable);       // "Global\..."
WString RingLocalBlockName(const WString& executable);  // where creating the global one is denied

// Time limit of the waits for the mutex, in milliseconds, except where the ring is created.
inline constexpr DWORD kRingWaitMs = 5000;
