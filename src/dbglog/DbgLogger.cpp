#include "dbglog/DbgLogger.h"

#include <cstdarg>
#include <exception>
#include <new>
#include <string>

#include "dbglog/FileOutput.h"
#include "dbglog/LogCfgShared.h"
#include "dbglog/SMOutput.h"
#include "platform/FaultPoint.h"
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
        });
    }
    ~LoggerLifetime() { g_DbgLogger.Detach(); }
    LoggerLifetime(const LoggerLifetime&) = delete;
    LoggerLifetime& operator=(const LoggerLifetime&) = delete;
};

const LoggerLifetime g_loggerLifetime;

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
    for (IDBGLogOutput** output : {&m_pFileOutput, &m_pSMOutput}) {
        if (*output != nullptr) {
            (*output)->Release();
            *output = nullptr;
        }
    }
}

// The second output is asked only when the first declines: asking may cost a system call.
bool CDbgLogger::IsWanted(int level) const {
    bool wanted = false;
    Contain([&] {
        wanted = level <= m_pFileOutput->GetLogLevel() ||
                 (m_pSMOutput != nullptr && level <= m_pSMOutput->GetLogLevel());
    });
    return wanted;
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
    if (m_pFileOutput == nullptr || !IsWanted(level)) {
        return;
    }
    const WCHAR* text = StripLineFeeds(message);
    for (IDBGLogOutput* output : {m_pFileOutput, m_pSMOutput}) {
        if (output != nullptr) {
            Contain([&] { output->WriteLogW(level, 0, text); });
        }
    }
}
