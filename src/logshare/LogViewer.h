// Watching the messages of running executables: the viewer's side of the ring.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

#include "logshare/LogMessage.h"
#include "platform/OwnedHandle.h"

// The result of LogViewer::Watch.
enum class LogWatch {
    Watching,
    Taken,   // another viewer watches it already
    Failed,  // the objects could not be made; the last error says why
};

// Records of one executable that were overwritten before they were read.
struct LogLoss {
    WString executable;   // upper case
    std::uint64_t count;  // 0: the indices were damaged, so the number is unknown
};

// The presence of a viewer and the rings that it reads. While an object lives, writers of the
// executables named to it put their messages into rings; when the last one is gone they stop.
//
// Writers look for the breakpoint table once, when they attach: make a BreakpointTable first, so
// that breakpoints set later are seen.
//
// Threads: one at a time. Every account may open the objects made here.
class LogViewer {
public:
    // Announces a viewer; others may be running already.
    LogViewer();
    ~LogViewer();
    LogViewer(const LogViewer&) = delete;
    LogViewer& operator=(const LogViewer&) = delete;

    // False when the presence event could not be made; the constructor left the last error.
    bool IsPresent() const { return m_presence != nullptr; }

    // Watches the executable, named by its file name, from now on. An executable has one watcher:
    // a record that one viewer has taken is not seen by another.
    LogWatch Watch(const WString& executable);

    // True while this object watches it.
    bool Watches(const WString& executable) const;

    // Lets writers of the executable attach without reading what they write, beside a watcher or
    // without one. For tools that need attached writers only. False with the last error set on
    // failure.
    bool LetAttach(const WString& executable);

    // Appends the new records of every watched ring that exists by now, ring by ring in the order
    // of writing, and what was lost. The caller releases the messages. A ring whose mutex is held
    // for more than 200 ms is left for the next time.
    void Poll(std::list<CLogMessage*>* messages, std::vector<LogLoss>* losses);

    // Returns as soon as a writer has written to a watched ring, at the latest after the time. True
    // when one has; a Poll after false finds what came since, too.
    bool Wait(DWORD milliseconds);

private:
    struct Ring;

    OwnedHandle m_ours;            // marks the presence as that of a tool of this kind
    OwnedHandle m_presence;        // null when it could not be made
    bool m_foreignViewer = false;  // some other program was present when this object was made
    std::vector<std::unique_ptr<Ring>> m_rings;
    std::vector<OwnedHandle> m_attachEvents;  // ring events of LetAttach
};
