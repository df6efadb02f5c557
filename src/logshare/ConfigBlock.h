// The configuration block that a logging process shares with outside tools. docs/log-config.md
// shows the layout; little-endian, text UTF-16 and zero-terminated inside its field.
//
// Everything in it is read and written only while its mutex is held. Readers must expect missing
// terminators, wild flags and wrong magics: any account may write here.
#pragma once

#include <cstddef>

#include "fenwickel/Types.h"

inline constexpr DWORD kLogCfgMagic = 0xE6E6;
inline constexpr int kLogLevelNone = -1;
inline constexpr std::size_t kLogPathCapacity = 512;    // units, terminator included
inline constexpr std::size_t kModuleNameCapacity = 64;  // units, terminator included
inline constexpr std::size_t kLogCfgEntryCount = 1024;

// Flags of an entry.
inline constexpr DWORD kFollowProcessFile = 1;
inline constexpr DWORD kFollowProcessLevel = 2;
inline constexpr DWORD kNewEntryFlags = 1;         // in a new block
inline constexpr DWORD kTakenEntryFlags = 0xFFFF;  // once a module has the entry

struct LogCfgEntry {
    WCHAR szModuleName[kModuleNameCapacity];  // empty: free, and so is every later entry
    WCHAR szLogFile[kLogPathCapacity];
    int nLevel;  // the module's own; -1 none
    DWORD dwFlags;
};

struct LogCfgBlock {
    DWORD dwMagic;
    WCHAR szLogFile[kLogPathCapacity];  // of the process; empty: none
    int nLevel;                         // of the process; -1 none
    LogCfgEntry entries[kLogCfgEntryCount];
    DWORD dwEndMagic;
};

static_assert(sizeof(int) == 4);
static_assert(sizeof(LogCfgEntry) == 1160);
static_assert(offsetof(LogCfgEntry, szLogFile) == 128);
static_assert(offsetof(LogCfgEntry, nLevel) == 1152);
static_assert(offsetof(LogCfgEntry, dwFlags) == 1156);
static_assert(sizeof(LogCfgBlock) == 1188876);
static_assert(offsetof(LogCfgBlock, szLogFile) == 4);
static_assert(offsetof(LogCfgBlock, nLevel) == 1028);
static_assert(offsetof(LogCfgBlock, entries) == 1032);
static_assert(offsetof(LogCfgBlock, dwEndMagic) == 1188872);

// Names of the objects of the process with this id.
WString LogCfgMutexName(DWORD processId);
WString LogCfgBlockName(DWORD processId);       // "Global\..."
WString LogCfgLocalBlockName(DWORD processId);  // where creating the global one is denied

// Time limit of every wait for the mutex, in milliseconds.
inline constexpr DWORD kLogCfgWaitMs = 5000;

// True when both magics are right.
bool IsLogCfgBlock(const LogCfgBlock& block);
