// Local times: the one that --since names, and those of messages.
#pragma once

#include <cstdint>
#include <string>

#include "platform/Platform.h"

// LogTimeKey of a local time: 2026-11-22, 2026-11-22T09:05, 2026-11-22T09:05:07, or 09:05 and
// 09:05:07 of today. Throws Failure (Usage) for anything else.
std::uint64_t ParseLogTime(const std::string& argument);

// "2026-11-22T09:05:07.042". The numbers may be any.
std::string LocalTimeText(const SYSTEMTIME& time);
