#include "logshare/LogMessage.h"

#include "logshare/LogLine.h"
#include "logshare/SharedText.h"

// The fields may lack terminators in the ring; TextOf bounds each of them.
CLogMessage::CLogMessage(const LogRecord& record) : m_pRecord(new LogRecord(record)) {}

CLogMessage::~CLogMessage() = default;

LONG CLogMessage::AddRef() {
    return ++m_nRefCount;
}

LONG CLogMessage::Release() {
    const LONG count = --m_nRefCount;
    if (count < 1) {
        delete this;
    }
    return count;
}

WString CLogMessage::GetHeader() const {
    WCHAR header[kLineHeaderCapacity];
    FormatLineHeader(header, m_pRecord->time, m_pRecord->nLevel, m_pRecord->dwProcessId,
                     m_pRecord->dwThreadId, m_pRecord->dwErrorCode);
    return header;
}

WString CLogMessage::GetProcessName() const {
    return TextOf(m_pRecord->szProcessName);
}

WString CLogMessage::GetModuleName() const {
    return TextOf(m_pRecord->szModuleName);
}

DWORD CLogMessage::GetProcessID() const {
    return m_pRecord->dwProcessId;
}

DWORD CLogMessage::GetThreadID() const {
    return m_pRecord->dwThreadId;
}

DWORD CLogMessage::GetErrCode() const {
    return m_pRecord->dwErrorCode;
}

int CLogMessage::GetLevel() const {
    return m_pRecord->nLevel;
}

SYSTEMTIME CLogMessage::GetTime() const {
    return m_pRecord->time;
}

WString CLogMessage::GetText() const {
    return TextOf(m_pRecord->szText);
}
