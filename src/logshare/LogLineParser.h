// One line of a log file, taken apart: "[time level process thread code] text   {process::module
// (build.revision)}". docs/log-file.md shows the format.
//
// Pure functions. A log file may hold anything: lines of killed writers, other programs' text, and
// messages with line breaks or with a quoted log line inside.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/Platform.h"

struct LogLineHeader {
    SYSTEMTIME time{};  // local, as written: no ranges checked, no day of the week
    int level = 0;
    DWORD processId = 0;
    DWORD threadId = 0;
    DWORD errorCode = 0;  // 0 none
};

// Which program and which build of which module wrote the line. All empty for a line without.
struct LogLineTail {
    WString process;
    WString module;
    DWORD build = 0;
    DWORD revision = 0;
};

// How many units the header takes with which the text begins, its last blank included; 0 when the
// text does not begin with one.
std::size_t ParseLogHeader(std::basic_string_view<WCHAR> text, LogLineHeader* header);

// Where the first header in the text begins; npos when there is none.
std::size_t FindLogHeader(std::basic_string_view<WCHAR> text);

// How many units the tail takes with which the text ends, the blanks before it included; 0 when the
// text does not end with one.
std::size_t ParseLogTail(std::basic_string_view<WCHAR> text, LogLineTail* tail);

// True for the line with the names of the columns, which begins a summary block.
bool IsLogColumnLine(std::basic_string_view<WCHAR> line);

// True for what follows the header in the other lines of a summary block. Such a line has no tail.
bool IsLogSummaryText(std::basic_string_view<WCHAR> text);

// A number that grows with the time.
std::uint64_t LogTimeKey(const SYSTEMTIME& time);
