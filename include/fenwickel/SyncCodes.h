// Result codes of the change detection and of the sync database.
//
// Every operation that returns an int returns 0 for success, one of these codes, 1 for a file whose
// relative path is too long to record, or a Windows error code unchanged.
#pragma once

// The host's stop event was seen. Printed by "%d" as -268435457.
inline constexpr int SYNC_EC_STOPPED = static_cast<int>(0xEFFFFFFFU);

// A worker thread could not be started, or a 4 MiB read buffer not be allocated. Printed by "%d" as
// -267714555.
inline constexpr int SYNC_EC_NO_MEMORY = static_cast<int>(0xF00B0005U);

// A short transfer, a damaged record, a lookup that missed, or a call out of order. Printed as -1.
inline constexpr int SYNC_EC_FAILED = static_cast<int>(0xFFFFFFFFU);

// A file's relative path has 260 characters or more and cannot be recorded.
inline constexpr int SYNC_EC_PATH_TOO_LONG = 1;
