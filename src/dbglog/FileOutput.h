// The log file of a module. docs/log-file.md shows what it looks like.
#pragma once

#include <initializer_list>
#include <mutex>
#include <string_view>

#include "dbglog/DbgLogOutput.h"
#include "logshare/ConfigBlock.h"
#include "logshare/LogLine.h"
#include "logshare/NamedLock.h"
#include "platform/Platform.h"

namespace NSDBG {

// Size in bytes from which on a file is not written to again. Tests lower it before they log.
extern constinit DWORD g_logRollSize;

// Writes each message as one line into the file that the log configuration names, and follows the
// configuration from message to message. Every process that has loaded the same module writes into
// the same file.
//
// Threads: any. m_csLock keeps the threads of the process apart and a named mutex for each file
// keeps the processes apart. The configuration is asked only while the file's mutex is not held. No
// wait for a mutex takes longer than 5000 ms; after that the message is lost, as it is when the
// file cannot be opened, and the next message tries again, but waits only once the mutex was free
// again.
//
// A line is one write; off Windows it is appended, so that it stays whole even when processes do
// not share the mutex. A child of fork goes on at the level and in the file of its parent.
//
// The order of the slots and of the fields is fixed.
class CFileOutput final : public IDBGLogOutput {
public:
    // Registers the module in the configuration and asks for its level and file. Opens nothing.
    CFileOutput();
    CFileOutput(const CFileOutput&) = delete;
    CFileOutput& operator=(const CFileOutput&) = delete;

    // Closes the file and destroys the output. No call may begin after this one. While messages are
    // on their way through the logger the output is only closed; while a thread works in it, it is
    // left as it is.
    void Release() override;
    void WriteLogA(int level, unsigned int errorCode, const char* text) override;
    void WriteLogW(int level, unsigned int errorCode, const WCHAR* text) override;
    int GetLogLevel() override;

    // Around a fork: the lock is held meanwhile. The child opens what it needs with its first call.
    void BeforeFork();
    void AfterFork(bool inChild);

private:
    using View = std::basic_string_view<WCHAR>;
    using Header = WCHAR[kLineHeaderCapacity];

    ~CFileOutput() = default;

    // A part of a line, and what to tell when it was not written whole.
    struct Part {
        std::string_view bytes;
        const WCHAR* failure;
    };

    // All below: under m_csLock. From PrepareFile on: under the file's mutex, too.

    void SettleInChild();
    void RefreshLevel();

    // The header of a line that this thread writes now.
    static void MakeHeader(Header& header, int level, unsigned int errorCode);

    // Sees to it that the right file and its mutex are open; closes both on failure.
    bool EnsureFileOpen();
    bool OpenOrRoll();
    void AskForFile(WCHAR (&wanted)[kLogPathCapacity]);
    // Goes to the account's own folder when the account may not log into the file. False when it
    // has none either.
    bool LeaveForeignPlace();
    bool RollOver();
    bool OpenFile(bool prepareFolder);
    bool TryOpen();
    bool CreateFileMutex();
    void CloseFile();
    void CloseDeletedFile();
    void SwitchTo(View path);
    void ReadModuleBuild();
    DWORD SizeOfOpenFile(DWORD unknown) const;

    // Finds out the file's encoding; gives a new file its mark and its summary. False when the mark
    // could not be written: what would follow could not be read.
    bool PrepareFile();
    bool WriteByteOrderMark();
    void FindEncoding();
    void WriteSummary();

    // Text of the other width than the file's is converted; what cannot be converted, or needs more
    // than 1024 characters, becomes empty.
    void WriteLineW(View header, View text, bool withTail);
    void WriteLineA(std::string_view header, std::string_view text, bool withTail);
    void WriteParts(std::initializer_list<Part> parts);
    bool SeekToEnd();
    void TraceFailure(const WCHAR* format) const;

    WCHAR m_szLogFile[kLogPathCapacity] = {};  // empty until the configuration gives one
    WCHAR m_szConfigName[kModuleNameCapacity] = {};
    WCHAR m_szModuleName[kModuleNameCapacity] = {};
    WCHAR m_szProcessName[kModuleNameCapacity] = {};
    DWORD m_dwFileVersionLS = 0;  // build and revision of the module; 0 not read
    int m_bUnicodeFile = 1;       // stays 0 for new files, too, once an ANSI file was met
    int m_nLevel = 2;
    HANDLE m_hFile = INVALID_HANDLE_VALUE;  // owned
    HANDLE m_hFileMutex = nullptr;          // owned; of the file in m_szLogFile
    std::mutex m_csLock;
    int m_bIgnoreGlobalFile = 0;  // the executable is exempt from the process-wide file
    LockPatience m_patience;      // with m_hFileMutex
    bool m_bForked = false;       // handles and configuration are still those of the parent
};

}  // namespace NSDBG
