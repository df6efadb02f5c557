// File times of the system as 100-ns units since 1601.
#pragma once

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

#include "fenwickel/Types.h"

// What lies before 1601 gives 0; what 63 bits cannot hold gives the latest time.
constexpr FILETIME FileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds) {
    constexpr std::int64_t kSecondsTo1970 = 11644473600;
    constexpr std::int64_t kUnits = 10000000;
    constexpr std::int64_t kLastSecond = INT64_MAX / kUnits - kSecondsTo1970 - 1;
    const std::int64_t since1601 = std::min(seconds, kLastSecond) + kSecondsTo1970;
    const std::int64_t units = since1601 < 0 ? 0 : since1601 * kUnits + nanoseconds / 100;
    return {static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
}

constexpr FILETIME FileTimeOf(const statx_timestamp& time) {
    return FileTimeFromUnix(time.tv_sec, time.tv_nsec);
}
