// The process-wide logger: filters, formats and cleans messages and passes them to its outputs.
#pragma once

#include <atomic>
#include <cstddef>

#include "dbglog/DbgLogOutput.h"
#include "platform/Platform.h"

// Passes each message to its two outputs.
//
// Threads: Log may be called from any thread at any time, also before the library is initialised
// and after it is unloaded, when it does nothing. There is no lock here; the outputs have theirs.
//
// The object is constant-initialised and has no destructor, so that it can be used in either of
// those phases. Attach and Detach belong to load and unload.
class CDbgLogger {
public:
    // Longest message in units, its terminator included. Longer ones are cut.
    static constexpr std::size_t kMessageCapacity = 1024;

    // Takes ownership of both outputs.
    void Attach(IDBGLogOutput* fileOutput, IDBGLogOutput* smOutput);

    // Releases the file output, then the other one. Calls that are on their way go on with what
    // they have; no later one writes anything.
    void Detach();

    // Around a fork: all locks of the log are held meanwhile, so that the child finds none taken.
    void BeforeFork();
    void AfterFork(bool inChild);

    // Logs one message. format is that of WideFormat; by convention its first %s takes the name of
    // the calling function. Every message of the library has level 1.
    void Log(int level, const WCHAR* format, ...);

private:
    std::atomic<IDBGLogOutput*> m_pFileOutput{nullptr};  // owned
    std::atomic<IDBGLogOutput*> m_pSMOutput{nullptr};    // owned
    int m_nLevel = 2;  // larger levels are dropped before formatting
};

// The one logger of the process.
extern CDbgLogger g_DbgLogger;

// Logs a failure and returns its code, so that a caller does both in one statement. The format gets
// the remaining arguments; a format that shows the code gets it among them.
template <typename... Arguments>
int LogFailure(int code, const WCHAR* format, Arguments... arguments) {
    g_DbgLogger.Log(1, format, arguments...);
    return code;
}

// Logs that a call of the system failed and returns the last error, which is read first. The format
// gets the error behind the other arguments.
template <typename... Arguments>
int LogLastError(const WCHAR* format, Arguments... arguments) {
    const int error = static_cast<int>(GetLastError());
    return LogFailure(error, format, arguments..., error);
}
