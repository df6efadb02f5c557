#include "dbglog/DbgLogger.h"

#include <cstdarg>
#include <string>

#include "dbglog/EnvironmentFileOutput.h"
#include "dbglog/SilentOutput.h"
#include "platform/Text.h"

constinit CDbgLogger g_DbgLogger;

namespace {

// Ties the outputs to load and unload. They are not members' destructors: a call after unload must
// still find the null pointers that Detach leaves.
struct LoggerLifetime {
    LoggerLifetime() {
        auto* fileOutput = new NSDBG::CEnvironmentFileOutput;
        g_DbgLogger.Attach(fileOutput, new NSDBG::CSilentOutput);
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
    for (IDBGLogOutput** output : {&m_pFileOutput, &m_pSMOutput}) {
        if (*output != nullptr) {
            (*output)->Release();
            *output = nullptr;
        }
    }
}

// The second output is asked only when the first declines: asking may cost a system call.
bool CDbgLogger::IsWanted(int level) const {
    return level <= m_pFileOutput->GetLogLevel() ||
           (m_pSMOutput != nullptr && level <= m_pSMOutput->GetLogLevel());
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
    if (m_pFileOutput == nullptr || !IsWanted(level)) {
        return;
    }
    const WCHAR* text = StripLineFeeds(message);
    m_pFileOutput->WriteLogW(level, 0, text);
    if (m_pSMOutput != nullptr) {
        m_pSMOutput->WriteLogW(level, 0, text);
    }
}
