// Names of the files of one log: X.Log, X.00000001.log, X.00000002.log and so on.
#pragma once

#include <string_view>

#include "fenwickel/Types.h"

// A log file's path as the series it belongs to and its number in it; 0 is the first file.
struct LogFileName {
    std::basic_string_view<WCHAR> base;  // part of the path that was split, which must outlive it
    DWORD number = 0;
};

LogFileName SplitLogFileName(std::basic_string_view<WCHAR> path);

// The numbered file of the series.
WString NumberedLogFile(std::basic_string_view<WCHAR> base, DWORD number);

// True when both belong to one series, whatever their numbers; case does not count. Asked for every
// message, so it allocates nothing.
bool SameLogSeries(std::basic_string_view<WCHAR> first, std::basic_string_view<WCHAR> second);
