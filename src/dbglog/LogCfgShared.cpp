#include "dbglog/LogCfgShared.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <string_view>

#include "dbglog/TraceHook.h"
#include "logshare/SharedText.h"
#include "platform/Text.h"

namespace {

using WStringView = std::basic_string_view<WCHAR>;

void MakeEmptyBlock(LogCfgBlock* block) {
    std::memset(static_cast<void*>(block), 0, sizeof *block);
    block->nLevel = kLogLevelNone;
    for (LogCfgEntry& entry : block->entries) {
        entry.dwFlags = kNewEntryFlags;
    }
    block->dwMagic = kLogCfgMagic;
    block->dwEndMagic = kLogCfgMagic;
}

bool IsFree(const LogCfgEntry& entry) {
    return entry.szModuleName[0] == 0;
}

// Works on a copy, because a process that ignores the mutex may change the name meanwhile.
bool IsNamed(const LogCfgEntry& entry, WStringView name) {
    WCHAR copy[kModuleNameCapacity];
    std::copy_n(entry.szModuleName, kModuleNameCapacity, copy);
    const auto end = std::find(copy, copy + kModuleNameCapacity, WCHAR{0});
    const WStringView entryName(copy, static_cast<std::size_t>(end - copy));
    return entryName == name || EqualNoCase(entryName, name);
}

// The terminator is written whether the field has one or not.
void CopyPath(const WCHAR (&field)[kLogPathCapacity], WCHAR (&buffer)[kLogPathCapacity]) {
    std::copy_n(field, kLogPathCapacity - 1, buffer);
    buffer[kLogPathCapacity - 1] = 0;
}

}  // namespace

CLogCfgShared& CLogCfgShared::Instance() {
    static CLogCfgShared& instance = *new CLogCfgShared;
    return instance;
}

CLogCfgShared::~CLogCfgShared() {
    Close();
}

void CLogCfgShared::Close() {
    if (m_hMutex == nullptr) {
        return;
    }
    {
        const NamedLock lock(m_hMutex, kLogCfgWaitMs, &m_patience);
        GiveUpBlock();
    }
    GiveUpMutex();
}

// The parent's mutex is not waited for: no other thread of this process can use the block.
void CLogCfgShared::CloseInChild() {
    GiveUpBlock();
    if (m_hMutex != nullptr) {
        GiveUpMutex();
    }
}

void CLogCfgShared::GiveUpBlock() {
    m_pCurEntry = nullptr;
    if (m_pBlock != nullptr) {
        UnmapViewOfFile(m_pBlock);
        m_pBlock = nullptr;
    }
    if (m_hMapping != nullptr) {
        CloseHandle(m_hMapping);
        m_hMapping = nullptr;
    }
}

void CLogCfgShared::GiveUpMutex() {
    CloseHandle(m_hMutex);
    m_hMutex = nullptr;
    m_patience.Renew();
}

// Threads that call this at the same time each create it; the first handle stored is kept.
HANDLE CLogCfgShared::Mutex() {
    const std::atomic_ref<HANDLE> shared(m_hMutex);
    HANDLE mutex = shared.load();
    if (mutex != nullptr) {
        return mutex;
    }
    OpenToAll everyone;
    const HANDLE created =
        CreateMutexW(everyone.get(), FALSE, LogCfgMutexName(GetCurrentProcessId()).c_str());
    if (created == nullptr || shared.compare_exchange_strong(mutex, created)) {
        return created;
    }
    CloseHandle(created);
    return mutex;
}

void CLogCfgShared::OpenBlock() {
    const DWORD process = GetCurrentProcessId();
    m_hMapping = CreateSharedBlock(LogCfgBlockName(process), LogCfgLocalBlockName(process),
                                   sizeof(LogCfgBlock));
    if (m_hMapping == nullptr) {
        return;
    }
    const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    // Mapping the full size refuses a smaller block that another process has made under this name.
    m_pBlock = static_cast<LogCfgBlock*>(
        MapViewOfFile(m_hMapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(LogCfgBlock)));
    if (m_pBlock != nullptr && !existed) {
        MakeEmptyBlock(m_pBlock);
    }
}

LogCfgBlock* CLogCfgShared::SoundBlock() {
    if (m_hMapping == nullptr) {
        OpenBlock();
    }
    if (m_pBlock != nullptr && IsLogCfgBlock(*m_pBlock)) {
        return m_pBlock;
    }
    TraceHook(WIDE("[%d:%d] Share memory was destroied\r\n"), GetCurrentProcessId(),
              GetCurrentThreadId());
    return nullptr;
}

LogCfgEntry* CLogCfgShared::FindEntry(const WCHAR* moduleName) {
    if (*moduleName == 0) {
        return nullptr;
    }
    if (m_pCurEntry != nullptr && IsNamed(*m_pCurEntry, moduleName)) {
        return m_pCurEntry;
    }
    const auto end = std::end(m_pBlock->entries);
    const auto found = std::find_if(m_pBlock->entries, end, [&](const LogCfgEntry& entry) {
        return IsFree(entry) || IsNamed(entry, moduleName);
    });
    m_pCurEntry = found != end && !IsFree(*found) ? found : nullptr;
    return m_pCurEntry;
}

LogCfgEntry* CLogCfgShared::FindOrTakeEntry(const WCHAR* moduleName) {
    LogCfgEntry* known = FindEntry(moduleName);
    if (known != nullptr) {
        return known;
    }
    const auto end = std::end(m_pBlock->entries);
    const auto taken = std::find_if(m_pBlock->entries, end, IsFree);
    if (taken == end) {
        return nullptr;
    }
    SetText(taken->szModuleName, moduleName);
    taken->nLevel = kLogLevelNone;
    taken->dwFlags = kTakenEntryFlags;
    return taken;
}

void CLogCfgShared::RegisterModule(const WCHAR* moduleName) {
    if (*moduleName == 0) {
        return;
    }
    WCHAR path[kFullPathCapacity] = {};
    MakeLogFilePath(moduleName, path);
    const NamedLock lock(Mutex(), kLogCfgWaitMs, &m_patience);
    if (!lock.Owned() || SoundBlock() == nullptr) {
        return;
    }
    LogCfgEntry* entry = FindOrTakeEntry(moduleName);
    if (entry != nullptr && (entry->dwFlags & kFollowProcessFile) != 0) {
        SetText(entry->szLogFile, path);
    }
}

int CLogCfgShared::GetModuleLevel(const WCHAR* moduleName) {
    const NamedLock lock(Mutex(), kLogCfgWaitMs, &m_patience);
    const LogCfgBlock* block = lock.Owned() ? SoundBlock() : nullptr;
    if (block == nullptr) {
        return kLogLevelNone;
    }
    const LogCfgEntry* entry = FindEntry(moduleName);
    const int own = entry != nullptr ? entry->nLevel : kLogLevelNone;
    if (entry != nullptr && (entry->dwFlags & kFollowProcessLevel) == 0) {
        return own;
    }
    const int ofProcess = block->nLevel;
    return ofProcess != kLogLevelNone ? ofProcess : own;
}

void CLogCfgShared::GetLogFilePath(const WCHAR* moduleName, WCHAR (&buffer)[kLogPathCapacity],
                                   int ignoreProcessFile) {
    const NamedLock lock(Mutex(), kLogCfgWaitMs, &m_patience);
    const LogCfgBlock* block = lock.Owned() ? SoundBlock() : nullptr;
    if (block == nullptr) {
        return;
    }
    if (*moduleName == 0) {
        CopyPath(block->szLogFile, buffer);
        return;
    }
    const LogCfgEntry* entry = FindEntry(moduleName);
    const bool ownFile = entry != nullptr && (entry->dwFlags & kFollowProcessFile) == 0;
    const bool processFile = block->szLogFile[0] != 0 && ignoreProcessFile == 0;
    if (!ownFile && processFile) {
        CopyPath(block->szLogFile, buffer);
    } else if (entry != nullptr) {
        CopyPath(entry->szLogFile, buffer);
    }
}

void CLogCfgShared::SetLogFilePath(const WCHAR* moduleName, const WCHAR* path) {
    WCHAR full[kFullPathCapacity] = {};
    if (*path != 0) {
        MakeLogFilePath(path, full);
    }
    const NamedLock lock(Mutex(), kLogCfgWaitMs, &m_patience);
    LogCfgBlock* block = lock.Owned() ? SoundBlock() : nullptr;
    if (block == nullptr) {
        return;
    }
    if (*moduleName == 0 || block->szLogFile[0] != 0) {
        SetText(block->szLogFile, full);
        return;
    }
    if (full[0] == 0) {
        MakeLogFilePath(moduleName, full);
    }
    LogCfgEntry* entry = FindOrTakeEntry(moduleName);
    if (entry != nullptr) {
        SetText(entry->szLogFile, full);
    }
}
