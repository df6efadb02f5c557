// Fault points of test builds: every function of the layer asks here before it does its work.
#pragma once

#include <cstddef>

#include "fenwickel/Types.h"

// Counts a call of the named function. True when the armed fault makes this call fail; the calling
// thread's last error is then the armed code. In kill mode the process ends here by SIGKILL.
bool FaultFails(const char* function);

// How many of byteCount bytes the named transfer may move: half of them, at most 256, when the
// armed fault makes this call transfer short, otherwise all. Belongs to the call that FaultFails
// counted last on the calling thread.
DWORD FaultLimit(const char* function, DWORD byteCount);

enum class FaultMode { Once, FromThenOn, Short, Kill };

// While one lives, calls of its thread count under another name: "log/WriteFile" in the scope
// "log". So what a side activity does neither shifts the counts of the work nor meets its faults.
// name must outlive the scope; the outermost scope decides.
class FaultScope {
public:
    explicit FaultScope(const char* name);
    ~FaultScope();
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;

private:
    bool m_outermost;
};

// Arms one fault, replacing any other: the nth call (from 1) of the named function, or of any
// function outside of all scopes when the name is "*". Counts start again at 0. Any thread may call
// it.
void FaultArm(const char* function, long long nthCall, FaultMode mode, DWORD code);

// Arms from text such as "WriteFile:3:once:112" (function:nth:once|always|short|kill[:code]), as
// the environment variable FENWICKEL_FAULT holds it. False when the text is not understood.
bool FaultArmFromText(const char* text);

// Disarms and answers how many calls the fault hit.
long long FaultDisarm();

// Calls of the named function counted since the last arming.
long long FaultCalls(const char* function);

// Handles of the layer that are open in this process.
long long FaultOpenHandles();

// Count one opened or closed handle; called by the layer itself.
void FaultHandleOpened();
void FaultHandleClosed();

// The folder that holds this process's named objects instead of the usual one, with a closing '/',
// as the environment variable FENWICKEL_OBJECTS names it; null without the variable. Ends the
// process when the path is longer than that or has no '/' at its end.
const char* FaultObjectFolder(std::size_t longest);
