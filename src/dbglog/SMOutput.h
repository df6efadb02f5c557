// Messages for a live viewer, through shared memory.
#pragma once

#include <memory>
#include <mutex>

#include "dbglog/Breakpoints.h"
#include "dbglog/DbgLogOutput.h"
#include "logshare/LogShareMemory.h"
#include "platform/Platform.h"

namespace NSDBG {

// Puts every message into the ring of this executable while a viewer watches it, and stops the
// calling thread at messages on which a tool has set breakpoints. The viewer makes the presence
// event, the ring event and the breakpoint table, which the library only opens. The library makes
// the mutex and the block of the ring; CLogShareMemory describes the two roles.
//
// An attachment begins with the first message that finds the presence event and the ring event, and
// ends with the first message that finds no presence: that one closes everything. Each message
// tests the presence anew; without a viewer this test is its only cost. A process that logs nothing
// keeps its attachment and with it the ring event of a viewer that may have ended long ago.
//
// Threads: every operation holds m_csLock while it works. A thread stops at a breakpoint outside
// the lock, so that other threads go on logging. Failures drop the message. The order of the slots
// and of the fields is fixed.
class CSMOutput final : public IDBGLogOutput {
public:
    CSMOutput() = default;
    CSMOutput(const CSMOutput&) = delete;
    CSMOutput& operator=(const CSMOutput&) = delete;

    // No call may begin after this one. While messages are on their way through the logger the
    // output is only closed; while a thread works in it, it is left as it is.
    void Release() override;

    // Around a fork: the lock is held meanwhile.
    void BeforeFork();
    void AfterFork();

    // A text that has more than 1023 units, or cannot be converted, is sent as an empty one.
    void WriteLogA(int level, unsigned int errorCode, const char* text) override;
    // Does not look at the level: the logger has compared it with GetLogLevel.
    void WriteLogW(int level, unsigned int errorCode, const WCHAR* text) override;

    // 9999 while a viewer runs, else 0.
    int GetLogLevel() override;

    virtual void Reserved();  // does nothing

    // Gives up the ring and the breakpoint table.
    virtual void Detach();

    // 1 when messages can be sent. Otherwise 0, and detached. The breakpoint table is looked for
    // once, when the ring has been attached: one made later is seen by the next attachment.
    virtual int Attach();

    // 1 when a viewer runs and this process has a name; learns the names on first use.
    virtual int IsViewerPresent();
    virtual int ConnectRing();
    virtual int ConnectBreakpoints();

    // Writes the message into the ring and stops when it meets a breakpoint.
    virtual void Send(int level, unsigned int errorCode, const WCHAR* text);

private:
    ~CSMOutput() = default;
    bool LearnNames();

    std::mutex m_csLock;
    WString m_strProcessName;                           // file name of the executable
    WString m_strModuleName;                            // file name of this library
    std::unique_ptr<CLogShareMemory> m_pShareMemory;    // null while detached
    std::unique_ptr<BreakpointHandles> m_pBreakpoints;  // null when there is no table
    bool m_bBreakpointsSought = false;                  // during this attachment
};

}  // namespace NSDBG
