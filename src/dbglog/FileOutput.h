// The log file of a module. docs/log-file.md shows what it looks like.
#pragma once

#include <mutex>
#include <string_view>

#include "dbglog/DbgLogOutput.h"
#include "logshare/ConfigBlock.h"
#include "logshare/LogLine.h"
#include "platform/Platform.h"

namespace NSDBG {

// Size in bytes from which on a file is not written to again. Tests lower it before they log.
extern constinit DWORD g_logRollSize;

// Writes each message as one line into the file that the log configuration names, and follows the
// configuration from message to message. Every process that has loaded the same module writes into
// the same file.
//
// Threads: any. m_csLock keeps the threads of the process apart and a named mutex for each file
// keeps the processes apart, so that lines stay whole. The configuration is asked only while the
// file's mutex is not held. No wait for a mutex takes longer than 5000 ms; after that the message
// is lost, as it is when the file cannot be opened, and the next message tries again.
//
// The order of the slots and of the fields is fixed.
class CFileOutput final : public IDBGLogOutput {
public:
    // Registers the module in the configuration and asks for its level and file. Opens nothing.
    CFileOutput();
    CFileOutput(const CFileOutput&) = delete;
    CFileOutput& operator=(const CFileOutput&) = delete;

    // Closes the file; leaves everything as it is when a thread is still in a call. No call may
    // begin after this one.
    void Release() override;
    void WriteLogA(int level, unsigned int errorCode, const char* text) override;
    void WriteLogW(int level, unsigned int errorCode, const WCHAR* text) override;
    int GetLogLevel() override;

private:
    using View = std::basic_string_view<WCHAR>;
    using Header = WCHAR[kLineHeaderCapacity];

    ~CFileOutput() = default;

    // All below: under m_csLock. From PrepareFile on: under the file's mutex, too.

    // The header of a line that this thread writes now.
    static void MakeHeader(Header& header, int level, unsigned int errorCode);

    // Sees to it that the right file and its mutex are open; closes both on failure.
    bool EnsureFileOpen();
    bool OpenOrRoll();
    bool RollOver();
    bool OpenFile(bool prepareFolder);
    bool CreateFileMutex();
    void CloseFile();
    void SwitchTo(View path);
    void ReadModuleBuild();
    DWORD SizeOfOpenFile(DWORD unknown) const;

    // Finds out the file's encoding; gives a new file its mark and its summary. False when the mark
    // could not be written: what would follow could not be read.
    bool PrepareFile();
    bool WriteByteOrderMark();
    void FindEncoding();
    void WriteSummary();

    // Each part of a line is a separate write; one that fails does not stop the others. Text of the
    // other width than the file's is converted; what cannot be converted, or needs more than 1024
    // characters, becomes empty.
    void WriteLineW(View header, View text, bool withTail);
    void WriteLineA(std::string_view header, std::string_view text, bool withTail);
    bool SeekToEnd();
    void WritePart(std::string_view bytes, const WCHAR* failure);
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
};

}  // namespace NSDBG
