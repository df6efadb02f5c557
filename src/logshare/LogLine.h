// The parts of a line that log files and the viewer share.
#pragma once

#include <cstddef>

#include "platform/Platform.h"

inline constexpr std::size_t kLineHeaderCapacity = 1024;  // units, terminator included
inline constexpr std::size_t kTimeStampCapacity = 64;

// "2026/11/22 09:05:07:042": 23 units.
void FormatTimeStamp(WCHAR (&buffer)[kTimeStampCapacity], const SYSTEMTIME& time);

// Time, level, process, thread and, unless it is 0, the error code, in brackets with a blank
// behind: 60 units while the ids have at most five digits.
void FormatLineHeader(WCHAR (&buffer)[kLineHeaderCapacity], const SYSTEMTIME& time, int level,
                      DWORD processId, DWORD threadId, DWORD errorCode);
