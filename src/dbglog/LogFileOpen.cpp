// Chooses the file to write to: follows the configuration, rolls over, opens.
#include <algorithm>

#include "dbglog/FileOutput.h"
#include "dbglog/FolderPreparation.h"
#include "dbglog/LogCfgShared.h"
#include "dbglog/ModuleFile.h"
#include "dbglog/TraceHook.h"
#include "logshare/LogFileName.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"
#include "platform/LogPlace.h"
#include "platform/Text.h"

namespace NSDBG {

constinit DWORD g_logRollSize = 104857600;

namespace {

constexpr std::size_t kMutexNameCapacity = 260;  // units, terminator included

// The low 32 bits of the size; 0 when there is no such file.
DWORD SizeOfPath(const WCHAR* path) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    return GetFileAttributesExW(path, GetFileExInfoStandard, &data) ? data.nFileSizeLow : 0;
}

// Neither step follows a link to what is missing, as one that opens or makes a file would.
HANDLE OpenOrMake(const WCHAR* path) {
    OpenToAll everyone;
    HANDLE file = INVALID_HANDLE_VALUE;
    for (const DWORD how : {OPEN_EXISTING, CREATE_NEW, OPEN_EXISTING}) {
        file = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           everyone.get(), how, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN,
                           nullptr);
        const DWORD error = GetLastError();
        if (file != INVALID_HANDLE_VALUE ||
            (error != ERROR_FILE_NOT_FOUND && error != ERROR_FILE_EXISTS)) {
            break;
        }
    }
    return file;
}

// The same name for every spelling of a path that the file system treats as the same.
WString FileMutexName(std::basic_string_view<WCHAR> path) {
    WString part(path.substr(0, kMutexNameCapacity - 1));
    std::replace(part.begin(), part.end(), WIDE('\\'), WIDE('/'));
    const WString name = WIDE("Global\\") + UpperCase(part);
    return name.substr(0, kMutexNameCapacity - 1);
}

}  // namespace

bool CFileOutput::EnsureFileOpen() {
    if (OpenOrRoll() && (m_hFileMutex != nullptr || CreateFileMutex())) {
        return true;
    }
    CloseFile();
    m_dwFileVersionLS = 0;
    return false;
}

bool CFileOutput::OpenOrRoll() {
    WCHAR wanted[kLogPathCapacity];
    AskForFile(wanted);
    CloseDeletedFile();
    const bool wasOpen = m_hFile != INVALID_HANDLE_VALUE;
    const bool sameSeries = SameLogSeries(wanted, m_szLogFile);
    if (!sameSeries) {
        CloseFile();
        SwitchTo(wanted);
    }
    if (m_hFile == INVALID_HANDLE_VALUE && !MayLogTo(m_szLogFile)) {
        if (!LeaveForeignPlace()) {
            return false;
        }
        SetText(wanted, m_szLogFile);
    }
    const DWORD size = sameSeries && wasOpen ? SizeOfOpenFile(0) : SizeOfPath(wanted);
    const bool full = size >= g_logRollSize;
    if (full) {
        CloseFile();
        if (!RollOver()) {
            return false;
        }
    }
    // Where a file was open, its series' folder is there. Another series' folder is prepared after
    // a failure.
    const bool prepareFolder = !wasOpen || (!sameSeries && full);
    return m_hFile != INVALID_HANDLE_VALUE || OpenFile(prepareFolder);
}

void CFileOutput::AskForFile(WCHAR (&wanted)[kLogPathCapacity]) {
    CLogCfgShared& configuration = CLogCfgShared::Instance();
    // Without an answer the file stays the same.
    SetText(wanted, m_szLogFile);
    configuration.GetLogFilePath(m_szConfigName, wanted, m_bIgnoreGlobalFile);
    if (wanted[0] == 0) {
        // A tool has taken the module's file away: this gives it its default file.
        configuration.SetLogFilePath(m_szConfigName, wanted);
        configuration.GetLogFilePath(m_szConfigName, wanted, m_bIgnoreGlobalFile);
    }
}

bool CFileOutput::LeaveForeignPlace() {
    const WString path = m_szLogFile;
    const WString folder = OwnLogFolder();
    const WString own = folder + path.substr(path.find_last_of(WIDE("\\/")) + 1);
    if (path.empty() || folder.empty() || own.size() >= kLogPathCapacity ||
        !MayLogTo(own.c_str())) {
        return false;
    }
    SwitchTo(own);
    return true;
}

// Goes to the next number whose file has room. Nothing is ever renamed.
bool CFileOutput::RollOver() {
    LogFileName name = SplitLogFileName(m_szLogFile);
    WString path;
    do {
        path = NumberedLogFile(name.base, ++name.number);
        if (path.size() >= kLogPathCapacity) {
            return false;  // a cut name would be the same for all numbers
        }
    } while (SizeOfPath(path.c_str()) >= g_logRollSize);
    TraceHook(WIDE("[%d:%d] Redirect file from [%s] to [%s]\r\n"), GetCurrentProcessId(),
              GetCurrentThreadId(), m_szLogFile, path.c_str());
    SwitchTo(path);
    return true;
}

bool CFileOutput::OpenFile(bool prepareFolder) {
    if (prepareFolder) {
        PrepareLogFolder(m_szLogFile);
    }
    if (!TryOpen() && !prepareFolder) {
        PrepareLogFolder(m_szLogFile);
        TryOpen();
    }
    if (m_hFile == INVALID_HANDLE_VALUE) {
        TraceHook(WIDE("[%d:%d] Failed to create file [%s]. ERR=%d\r\n"), GetCurrentProcessId(),
                  GetCurrentThreadId(), m_szLogFile, GetLastError());
        return false;
    }
    // Once for each opening: a module without a version is not searched again for every line.
    if (m_dwFileVersionLS == 0) {
        ReadModuleBuild();
    }
    return true;
}

bool CFileOutput::TryOpen() {
    m_hFile = OpenOrMake(m_szLogFile);
    if (m_hFile != INVALID_HANDLE_VALUE && !AdoptLogFile(m_hFile, m_szLogFile)) {
        CloseHandle(m_hFile);
        m_hFile = INVALID_HANDLE_VALUE;
    }
    return m_hFile != INVALID_HANDLE_VALUE;
}

void CFileOutput::ReadModuleBuild() {
    const HMODULE module = GetModuleHandleW(m_szModuleName);
    VS_FIXEDFILEINFO info;
    if (module != nullptr && ReadFileVersion(ModulePath(module), &info)) {
        m_dwFileVersionLS = info.dwFileVersionLS;
    }
}

bool CFileOutput::CreateFileMutex() {
    if (m_szLogFile[0] == 0) {
        TraceHook(WIDE("[%d:%d] Failed to create mutex. File name is empty\r\n"),
                  GetCurrentProcessId(), GetCurrentThreadId());
        return false;
    }
    const WString name = FileMutexName(m_szLogFile);
    OpenToAll everyone;
    m_hFileMutex = CreateMutexW(everyone.get(), FALSE, name.c_str());
    if (m_hFileMutex == nullptr) {
        TraceHook(WIDE("[%d:%d] Failed to create mutex with name [%s]. ERR=%d\r\n"),
                  GetCurrentProcessId(), GetCurrentThreadId(), name.c_str(), GetLastError());
    }
    return m_hFileMutex != nullptr;
}

void CFileOutput::CloseFile() {
    if (m_hFile != INVALID_HANDLE_VALUE) {
        CloseHandle(m_hFile);
        m_hFile = INVALID_HANDLE_VALUE;
    }
    if (m_hFileMutex != nullptr) {
        CloseHandle(m_hFileMutex);
        m_hFileMutex = nullptr;
        m_patience.Renew();
    }
}

// Messages in a file without a name would be seen by no reader.
void CFileOutput::CloseDeletedFile() {
    FILE_STANDARD_INFO info;
    if (m_hFile != INVALID_HANDLE_VALUE &&
        GetFileInformationByHandleEx(m_hFile, FileStandardInfo, &info, sizeof info) &&
        info.NumberOfLinks == 0) {
        CloseFile();
    }
}

void CFileOutput::SwitchTo(View path) {
    SetText(m_szLogFile, path);
    CLogCfgShared::Instance().SetLogFilePath(m_szConfigName, m_szLogFile);
}

DWORD CFileOutput::SizeOfOpenFile(DWORD unknown) const {
    LARGE_INTEGER size;
    return GetFileSizeEx(m_hFile, &size) ? static_cast<DWORD>(size.QuadPart) : unknown;
}

}  // namespace NSDBG
