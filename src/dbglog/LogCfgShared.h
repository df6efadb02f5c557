// Levels and files of the logging modules of this process.
#pragma once

#include <cstddef>

#include "logshare/ConfigBlock.h"
#include "logshare/NamedLock.h"
#include "platform/Platform.h"

// Room for a full path before it is cut to the block's fields; units, terminator included.
inline constexpr std::size_t kFullPathCapacity = 1024;

// Answers at which level and into which file a module logs: from the registry, read once per name,
// and from the configuration block, which outside tools change while the process runs.
//
// Threads: every operation may be called from any thread. Operations on the block hold its mutex
// for their own length, wait for it at most 5000 ms, after a time-out not at all until it was free
// again, and give the answer named at each of them when the block is not available. Failures are
// not reported.
class CLogCfgShared {
public:
    // The object of this module, made by the first call; the library makes that call at load,
    // before it makes the logger. It is never destroyed, since a thread may log while the process
    // ends: the library closes it at unload, behind the logger's outputs.
    static CLogCfgShared& Instance();

    CLogCfgShared(const CLogCfgShared&) = delete;
    CLogCfgShared& operator=(const CLogCfgShared&) = delete;

    // The registry's level for an executable or a module file name; -1 for none. Read once per
    // process and name, case included.
    int GetRegistryLevel(const WCHAR* name);

    // 1 when the executable is in the list "DisableGlobalOption", which is read once, else 0.
    int IsGlobalOptionDisabled(const WCHAR* executable);

    // Takes an entry of the block for the module and puts its default file there, unless the entry
    // has its own file. Nothing when the table is full.
    void RegisterModule(const WCHAR* moduleName);

    // The level that the block gives the module; -1 for none.
    int GetModuleLevel(const WCHAR* moduleName);

    // The file that the block gives the module. The buffer stays as it is when there is no answer.
    void GetLogFilePath(const WCHAR* moduleName, WCHAR (&buffer)[kLogPathCapacity],
                        int ignoreProcessFile);

    // Records the module's file: the process-wide one when there is one, else the module's own.
    void SetLogFilePath(const WCHAR* moduleName, const WCHAR* path);

    // Full path of the log file of that name: a name with a separator is one already; otherwise the
    // log folder, the name (this module's for an empty one) and ".Log". Left alone without a name.
    void MakeLogFilePath(const WCHAR* name, WCHAR (&buffer)[kFullPathCapacity]);

    // The log folder with '\' at its end.
    const WCHAR* GetLogFolder();

    // Gives back block and mutex; the next operation would open them again. To be called when no
    // other thread is in an operation.
    void Close();

    // The same in a child of fork, whose mutex and block are those of its parent.
    void CloseInChild();

    // Around a fork: the locks of what was read from the registry are held meanwhile.
    static void BeforeFork();
    static void AfterFork();

    // Bit 0 engine, bit 1 management, bit 2 any component; 8 alone: preinstallation environment.
    int InstallFlags() const { return m_nInstallFlags; }

    // The component whose registry values count for this module: its own, or, where that is none or
    // the product's root, the installed engine or else the management component.
    int EffectiveComponent() const;

private:
    friend struct LogCfgForTests;  // makes further objects

    CLogCfgShared();
    ~CLogCfgShared();

    void GiveUpBlock();
    void GiveUpMutex();

    // Created by the first call; null when that fails. The object keeps it.
    HANDLE Mutex();

    // Locking of the block. The named mutex is the only lock: it serialises the threads of this
    // process, the other logging modules in it and outside tools, and it guards m_hMapping,
    // m_pBlock and m_pCurEntry as well as the bytes of the block. No other lock is taken under it.
    //
    // The holder that creates the block fills it before it releases the mutex, the magics last;
    // later holders find a complete one and never fill it again. When an owner dies with the
    // mutex, the next holder gives no answer, since an entry may be half written, and its release
    // makes the mutex sound; the block itself is not repaired. An owner that dies while it creates
    // the block leaves wrong magics, and modules get no answer while any process holds that block.

    // The next four are called with the mutex held.

    // The block, opened or created by the first call. Null when it cannot be made, when an existing
    // one is smaller than the layout, which is not tried again, or when its magics are wrong.
    LogCfgBlock* SoundBlock();
    void OpenBlock();

    // The module's entry, ignoring case; null for none. Only after SoundBlock gave a block.
    LogCfgEntry* FindEntry(const WCHAR* moduleName);

    // The same, or else a free entry made the module's; null when the table is full.
    LogCfgEntry* FindOrTakeEntry(const WCHAR* moduleName);

    HANDLE m_hMutex = nullptr;           // null until first use
    HANDLE m_hMapping = nullptr;         // likewise
    LogCfgBlock* m_pBlock = nullptr;     // view of the mapping; likewise
    LogCfgEntry* m_pCurEntry = nullptr;  // found by the last lookup; under the mutex
    int m_nInstallFlags = 0;
    WCHAR m_szLogFolder[kLogPathCapacity] = {};
    LockPatience m_patience;  // with m_hMutex
};
