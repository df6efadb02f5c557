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

// The three times of what a call tells about a file. Where the system knows no time of creation
// that of the last write stands for it.
template <typename Data>
void FillTimes(const struct statx& status, Data* data) {
    const auto timeOf = [](const statx_timestamp& time) {
        return FileTimeFromUnix(time.tv_sec, time.tv_nsec);
    };
    const bool hasBirth = (status.stx_mask & STATX_BTIME) != 0;
    data->ftCreationTime = timeOf(hasBirth ? status.stx_btime : status.stx_mtime);
    data->ftLastAccessTime = timeOf(status.stx_atime);
    data->ftLastWriteTime = timeOf(status.stx_mtime);
}
