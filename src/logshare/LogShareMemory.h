// The ring of one executable name, writing and reading side.
#pragma once

#include <list>

#include "logshare/LogMessage.h"
#include "logshare/RingBlock.h"

// Threads: none of its own; the owner serialises the calls on one object. Different objects and
// processes are kept apart by the ring mutex. The slot order and the order of the fields are fixed.
class CLogShareMemory {
public:
    explicit CLogShareMemory(const WString& executable);
    CLogShareMemory(const CLogShareMemory&) = delete;
    CLogShareMemory& operator=(const CLogShareMemory&) = delete;
    virtual ~CLogShareMemory();

    // Writing side. 1 when the ring is open; 0 when no viewer watches this executable or the ring
    // cannot be made. Waits for the ring mutex without limit.
    virtual int CreateRing();

    // Reading side: opens what exists; handles stay null where it does not.
    virtual void OpenRing();
    virtual void CloseRing();

    // Writing side. moduleName may be null. Nothing for an empty text.
    virtual void Write(int level, unsigned int errorCode, const WCHAR* moduleName,
                       const WCHAR* text);

    // Reading side: appends every record behind the read index, in order, and moves the index. The
    // caller releases the messages. 1 when the ring could be read; 0 when it could not, when it is
    // empty, and for indices that no ring of ours has: a negative read index below -1, or a gap
    // over 2^20.
    virtual int Read(std::list<CLogMessage*>* messages);

    virtual void PutRecord(const LogRecord& record);

private:
    WString m_strName;  // upper case once opened
    HANDLE m_hMutex = nullptr;
    HANDLE m_hMapping = nullptr;
    HANDLE m_hEvent = nullptr;
};
