// One message as a viewer reads it out of the ring.
#pragma once

#include <atomic>
#include <memory>

#include "logshare/RingBlock.h"

// A counted reference to a copy of one record. Threads may share it: the count is atomic and the
// copy does not change. The slot order is fixed.
class CLogMessage {
public:
    // Copies the record. The count is 1 and belongs to the caller.
    explicit CLogMessage(const LogRecord& record);
    CLogMessage(const CLogMessage&) = delete;
    CLogMessage& operator=(const CLogMessage&) = delete;
    virtual ~CLogMessage();

    virtual LONG AddRef();
    // The new count; at 0 the object has destroyed itself.
    virtual LONG Release();

    // The header that the message has in a log file, without the text.
    virtual WString GetHeader() const;
    virtual WString GetProcessName() const;
    virtual WString GetModuleName() const;
    virtual DWORD GetProcessID() const;
    virtual DWORD GetThreadID() const;
    virtual DWORD GetErrCode() const;
    virtual int GetLevel() const;
    virtual SYSTEMTIME GetTime() const;
    virtual WString GetText() const;

private:
    std::atomic<LONG> m_nRefCount{1};
    std::unique_ptr<LogRecord> m_pRecord;
};
