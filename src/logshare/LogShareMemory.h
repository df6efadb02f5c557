// The ring of one executable name, writing and reading side. docs/log-ring.md shows its layout.
#pragma once

#include <list>

#include "logshare/LogMessage.h"
#include "logshare/NamedLock.h"
#include "logshare/RingBlock.h"

// Writer: any process of that name, and only while the ring event exists, which the viewer makes.
// The first writer makes the mutex and then, holding it, the block with both indices at -1. A
// record goes into its slot first and is then counted by the write index, which only writers move
// up. Writers never look at the read index: a slow reader loses the oldest records, and no writer
// waits for a reader.
//
// Reader: opens mutex and block when they exist, copies the records behind the read index and moves
// that up to the write index. A ring has one reader, since a record is taken only once. Correcting
// damaged indices is the reader's work, too; LogViewer does it before it reads.
//
// A process that dies with the mutex costs the next holder its turn: that one drops its record or
// reads nothing. A writer killed before it moved the write index leaves nothing behind, because the
// next record goes into the same slot. The block goes with the last process that holds it open.
//
// Threads: the owner of an object serialises the calls on it. The ring mutex serialises different
// objects and processes. The slot order and the order of the fields are fixed.
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
    // caller releases the messages. 1 when the ring could be read; 0 when it could not, when
    // nothing was ever written to it, and for a read index below -1 or a gap over 2^20, which count
    // as damage.
    virtual int Read(std::list<CLogMessage*>* messages);

    virtual void PutRecord(const LogRecord& record);

private:
    WString m_strName;  // upper case once opened
    HANDLE m_hMutex = nullptr;
    HANDLE m_hMapping = nullptr;
    HANDLE m_hEvent = nullptr;
    LockPatience m_patience;  // with m_hMutex
};
