#include "dbglog/FileOutput.h"

#include <algorithm>

#include "dbglog/CallsInProgress.h"
#include "dbglog/LogCfgShared.h"
#include "dbglog/ModuleFile.h"
#include "dbglog/ProductInfo.h"
#include "dbglog/TraceHook.h"
#include "logshare/SharedText.h"

namespace NSDBG {

namespace {

constexpr DWORD kFileMutexWaitMs = 5000;
constexpr int kDefaultLevel = 2;

// A level named after the executable counts before one named after the module.
int FirstLevel(const WCHAR* processName, const WCHAR* moduleName) {
    for (const WCHAR* name : {processName, moduleName}) {
        const int level = CLogCfgShared::Instance().GetRegistryLevel(name);
        if (level != kLogLevelNone) {
            return level;
        }
    }
    return kDefaultLevel;
}

}  // namespace

void CFileOutput::MakeHeader(Header& header, int level, unsigned int errorCode) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    FormatLineHeader(header, now, level, GetCurrentProcessId(), GetCurrentThreadId(), errorCode);
}

CFileOutput::CFileOutput() {
    CLogCfgShared& configuration = CLogCfgShared::Instance();
    LOGUTILS::GetCurrentModuleName(m_szModuleName, kModuleNameCapacity);
    SetText(m_szConfigName, m_szModuleName);
    SetText(m_szProcessName, FileNameOf(ModulePath(nullptr)));
    m_bIgnoreGlobalFile = configuration.IsGlobalOptionDisabled(m_szProcessName);
    m_nLevel = FirstLevel(m_szProcessName, m_szModuleName);
    configuration.RegisterModule(m_szConfigName);
    configuration.GetLogFilePath(m_szConfigName, m_szLogFile, m_bIgnoreGlobalFile);
}

// A host may end while its threads still log. A thread that holds the lock uses the output, one
// that comes from the logger may be about to.
void CFileOutput::Release() {
    {
        const std::unique_lock lock(m_csLock, std::try_to_lock);
        if (!lock.owns_lock()) {
            return;
        }
        CloseFile();
    }
    if (!CallsInProgress::Any()) {
        delete this;
    }
}

void CFileOutput::BeforeFork() {
    m_csLock.lock();
}

void CFileOutput::AfterFork(bool inChild) {
    m_bForked = m_bForked || inChild;
    m_csLock.unlock();
}

// The parent's file has one position for both processes, and its configuration follows the id of
// the parent. The child's own configuration begins with the file of the parent.
void CFileOutput::SettleInChild() {
    m_bForked = false;
    CloseFile();
    CLogCfgShared& configuration = CLogCfgShared::Instance();
    RefreshLevel();
    configuration.GetLogFilePath(m_szConfigName, m_szLogFile, m_bIgnoreGlobalFile);
    configuration.CloseInChild();
    configuration.RegisterModule(m_szConfigName);
    if (m_szLogFile[0] != 0) {
        configuration.SetLogFilePath(m_szConfigName, m_szLogFile);
    }
}

void CFileOutput::RefreshLevel() {
    const int level = CLogCfgShared::Instance().GetModuleLevel(m_szConfigName);
    if (level >= 0) {
        m_nLevel = level;
    }
}

int CFileOutput::GetLogLevel() {
    const std::lock_guard guard(m_csLock);
    if (m_bForked) {
        SettleInChild();
    }
    RefreshLevel();
    return m_nLevel;
}

void CFileOutput::WriteLogW(int level, unsigned int errorCode, const WCHAR* text) {
    if (level > GetLogLevel()) {
        return;
    }
    const std::lock_guard guard(m_csLock);
    if (!EnsureFileOpen()) {
        return;
    }
    const NamedLock fileLock(m_hFileMutex, kFileMutexWaitMs, &m_patience);
    if (fileLock.Owned() && PrepareFile()) {
        Header header;
        MakeHeader(header, level, errorCode);
        WriteLineW(header, text, true);
    }
}

void CFileOutput::WriteLogA(int level, unsigned int errorCode, const char* text) {
    if (level > GetLogLevel()) {
        return;
    }
    const std::lock_guard guard(m_csLock);
    if (!EnsureFileOpen()) {
        return;
    }
    const NamedLock fileLock(m_hFileMutex, kFileMutexWaitMs, &m_patience);
    if (!fileLock.Owned()) {
        TraceHook(WIDE("[%d:%d] Failed to wait mutex for file[%s]\r\n"), GetCurrentProcessId(),
                  GetCurrentThreadId(), m_szLogFile);
        return;
    }
    if (PrepareFile()) {
        Header header;
        MakeHeader(header, level, errorCode);
        // A header is ASCII whatever the code page.
        char narrow[kLineHeaderCapacity];
        const std::size_t length = View(header).size();
        std::transform(header, header + length, narrow,
                       [](WCHAR unit) { return static_cast<char>(unit); });
        WriteLineA({narrow, length}, text, true);
    }
}

}  // namespace NSDBG
