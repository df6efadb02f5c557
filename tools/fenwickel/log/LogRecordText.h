// Messages of running processes as text: a line for people, an object for programs.
#pragma once

#include <cstdint>
#include <string>

#include "platform/Platform.h"
#include "report/Json.h"

class CLogMessage;

// One message, copied out of the ring. Text is UTF-8 and may hold any character.
struct LiveRecord {
    explicit LiveRecord(const CLogMessage& message);

    std::uint64_t order = 0;  // for merging several sources; their reader sets it
    SYSTEMTIME time;          // local, as the writer put it: any numbers
    int level;
    DWORD processId;
    DWORD threadId;
    DWORD errorCode;  // 0 none
    std::string process;
    std::string module;  // empty: unknown
    std::string text;
};

// Time, level, process, thread, code, program::module and text on one line, line feed included.
// Control characters in the names and in the text are escaped.
void AppendLiveLine(std::string& text, const LiveRecord& record, bool colours);

JsonFields Fields(const LiveRecord& record);
