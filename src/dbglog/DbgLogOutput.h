// What the logger writes to.
#pragma once

#include "fenwickel/Types.h"

// One output of the logger: a log file, or a live viewer.
//
// Threads: every operation may be called from any thread at once; an output serialises its own
// work. Failures stay inside the output. Outside tools may implement this interface, so the slot
// order is fixed and Release takes the place of a virtual destructor.
class IDBGLogOutput {
public:
    // Destroys the output and frees its memory.
    virtual void Release() = 0;

    // Writes one message if its level passes the output's threshold. errorCode 0 means none. The
    // text is in the system's ANSI code page.
    virtual void WriteLogA(int level, unsigned int errorCode, const char* text) = 0;

    // The same for UTF-16 text. The only write operation that the logger calls.
    virtual void WriteLogW(int level, unsigned int errorCode, const WCHAR* text) = 0;

    // The threshold now: messages of this level or a smaller number pass. May refresh it first.
    virtual int GetLogLevel() = 0;

protected:
    ~IDBGLogOutput() = default;
};
