#include "dbglog/DbgLogger.h"

#include <cstdarg>
#include <exception>
#include <new>
#include <string>

#include "dbglog/CallsInProgress.h"
#include "dbglog/FileOutput.h"
#include "dbglog/LogCfgShared.h"
#include "dbglog/SMOutput.h"
#include "platform/FaultPoint.h"
#include "platform/Fork.h"
#include "platform/Text.h"

constinit CDbgLogger g_DbgLogger;

namespace {

// Marks the log's own calls of the platform.
constexpr const char* kFaultScope = "log";

// A failure of the log must not end its host: without memory, a message or the logger is missing.
template <typename Work>
void Contain(Work work) {
    try {
        work();
    } catch (const std::exception&) {
        return;
    }
}

// Attaches the outputs at load and detaches them at unload. A destructor of the logger could not do
// that: a call after unload must still find the null pointers that Detach leaves. The configuration
// is made first, so that it outlives both outputs.
struct LoggerLifetime {
    LoggerLifetime() {
        const FaultScope scope(kFaultScope);
        Contain([] {
            CLogCfgShared::Instance();
            auto* const fileOutput = new NSDBG::CFileOutput;
            g_DbgLogger.Attach(fileOutput, new (std::nothrow) NSDBG::CSMOutput);
            // Behind the named objects' own, which the file output has made: a lock of the log is
            // taken before one of theirs.
            WatchForks([] { g_DbgLogger.BeforeFork(); }, [] { g_DbgLogger.AfterFork(false); },
                       [] { g_DbgLogger.AfterFork(true); });
        });
    }
    ~LoggerLifetime() {
        const FaultScope scope(kFaultScope);
        g_DbgLogger.Detach();
        if (!CallsInProgress::Any()) {
            CLogCfgShared::Instance().Close();
        }
    }
    LoggerLifetime(const LoggerLifetime&) = delete;
    LoggerLifetime& operator=(const LoggerLifetime&) = delete;
};

const LoggerLifetime g_loggerLifetime;

// The second output is asked only when the first declines: asking may cost a system call.
bool IsWanted(int level, IDBGLogOutput* file, IDBGLogOutput* ring) {
    bool wanted = false;
    Contain([&] {
        wanted = level <= file->GetLogLevel() || (ring != nullptr && level <= ring->GetLogLevel());
    });
    return wanted;
}

// Whose locks the thread holds that forks now; another one may detach the outputs meanwhile. Under
// those of the registry's answers.
struct HeldOutputs {
    NSDBG::CFileOutput* file;
    NSDBG::CSMOutput* ring;
};
constinit HeldOutputs g_heldForFork{};

// Never used: an output that is still in use is not freed, and what checks for leaks finds it here.
constinit const void* g_lastReleased[2]{};

// Removes line feeds at both ends, in place. A carriage return stays.
WCHAR* StripLineFeeds(WCHAR* text) {
    while (*text == WIDE('\n')) {
        ++text;
    }
    WCHAR* end = text + std::char_traits<WCHAR>::length(text);
    while (end != text && end[-1] == WIDE('\n')) {
        *--end = 0;
    }
    return text;
}

}  // namespace

void CDbgLogger::Attach(IDBGLogOutput* fileOutput, IDBGLogOutput* smOutput) {
    m_pFileOutput = fileOutput;
    m_pSMOutput = smOutput;
}

void CDbgLogger::Detach() {
    const FaultScope scope(kFaultScope);
    for (std::atomic<IDBGLogOutput*>* output : {&m_pFileOutput, &m_pSMOutput}) {
        IDBGLogOutput* const released = output->exchange(nullptr);
        if (released != nullptr) {
            g_lastReleased[output == &m_pSMOutput ? 1 : 0] = released;
            released->Release();
        }
    }
}

// The order in which a thread takes the locks: no thread takes one of them under a later one.
void CDbgLogger::BeforeFork() {
    CallsInProgress::Begin();
    auto* const file = dynamic_cast<NSDBG::CFileOutput*>(m_pFileOutput.load());
    auto* const ring = dynamic_cast<NSDBG::CSMOutput*>(m_pSMOutput.load());
    if (file != nullptr) {
        file->BeforeFork();
    }
    if (ring != nullptr) {
        ring->BeforeFork();
    }
    CLogCfgShared::BeforeFork();
    g_heldForFork = {file, ring};
}

void CDbgLogger::AfterFork(bool inChild) {
    const HeldOutputs held = g_heldForFork;
    CLogCfgShared::AfterFork();
    if (held.ring != nullptr) {
        held.ring->AfterFork();
    }
    if (held.file != nullptr) {
        held.file->AfterFork(inChild);
    }
    if (inChild) {
        CallsInProgress::Forget();
    } else {
        CallsInProgress::End();
    }
}

void CDbgLogger::Log(int level, const WCHAR* format, ...) {
    if (level > m_nLevel) {
        return;
    }
    WCHAR message[kMessageCapacity];
    std::va_list arguments;
    va_start(arguments, format);
    WideFormatV(message, kMessageCapacity, format, arguments);
    va_end(arguments);
    const FaultScope scope(kFaultScope);
    const CallsInProgress call;
    IDBGLogOutput* const file = m_pFileOutput.load();
    IDBGLogOutput* const ring = m_pSMOutput.load();
    if (file == nullptr || !IsWanted(level, file, ring)) {
        return;
    }
    const WCHAR* text = StripLineFeeds(message);
    for (IDBGLogOutput* output : {file, ring}) {
        if (output != nullptr) {
            Contain([&] { output->WriteLogW(level, 0, text); });
        }
    }
}
