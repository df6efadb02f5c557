// The layout of a sync record file: a 512-byte header, then records back to back.
//
// All integers are little-endian. docs/record-file.md shows the layout with an example in hex.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fenwickel/Types.h"

// Size of the file header in bytes, and the offset of the first record.
inline constexpr std::uint32_t SYNC_RECORD_HEADER_SIZE = 512;
// Bytes of a record before its path.
inline constexpr std::uint32_t SYNC_RECORD_FIXED_SIZE = 38;
// Size in bytes of the cache that gathers appended records, and of every read buffer.
inline constexpr std::uint32_t SYNC_ITEM_CACHE_SIZE = 0x400000;
// Longest recorded path in UTF-16 units, without its terminating zero.
inline constexpr std::uint32_t SYNC_RECORD_MAX_PATH = 259;
// Length in bytes of the longest record: the fixed part, the longest path and its zero.
inline constexpr std::uint32_t SYNC_RECORD_MAX_SIZE =
    SYNC_RECORD_FIXED_SIZE + 2 * (SYNC_RECORD_MAX_PATH + 1);

// What a record says about its file.
enum enSyncItemStatus : int {
    SYNC_ITEM_DELETED = 1,    // known before, not seen in this run
    SYNC_ITEM_NEW = 2,        // not known before
    SYNC_ITEM_CHANGED = 4,    // known; last-write time or size differ, or the host forced it
    SYNC_ITEM_UNCHANGED = 8,  // known, with the same last-write time and size
};

// The first 512 bytes of a record file. Bytes without a name are reserved: 0 in a new file, kept
// as they are in an existing one.
union unSyncRecordFileHeader {
    std::uint8_t byRaw[SYNC_RECORD_HEADER_SIZE];
    struct {
        std::uint8_t byReserved[8];
        // Records appended to the file through its header. Readers find the records by their
        // lengths; the count shows whether a listing is complete.
        std::int64_t llRecordCount;
    } stFields;
};
static_assert(sizeof(unSyncRecordFileHeader) == 512);
static_assert(offsetof(unSyncRecordFileHeader, stFields.llRecordCount) == 8);

#pragma pack(push, 1)
// One file of a listing. The write time and the size are stored high half first, the two other
// times low half first.
struct stSynFileDescOnUpload {
    std::uint32_t nRecordSize;  // whole record in bytes: 40 + 2 * path length in units
    std::uint8_t byPathIndex;   // position of the walked folder in the host's vector, low 8 bits
    std::uint8_t bySyncStatus;  // an enSyncItemStatus
    std::uint32_t dwWriteTimeHigh;
    std::uint32_t dwWriteTimeLow;
    std::uint32_t dwSizeHigh;
    std::uint32_t dwSizeLow;
    FILETIME ftCreateTime;
    FILETIME ftAccessTime;
    // UTF-16LE path relative to the walked folder, '\' between components, zero-terminated. One
    // unit is declared, nRecordSize tells how many there are.
    WCHAR wszPath[1];
};
#pragma pack(pop)
static_assert(offsetof(stSynFileDescOnUpload, nRecordSize) == 0);
static_assert(offsetof(stSynFileDescOnUpload, byPathIndex) == 4);
static_assert(offsetof(stSynFileDescOnUpload, bySyncStatus) == 5);
static_assert(offsetof(stSynFileDescOnUpload, dwWriteTimeHigh) == 6);
static_assert(offsetof(stSynFileDescOnUpload, dwWriteTimeLow) == 10);
static_assert(offsetof(stSynFileDescOnUpload, dwSizeHigh) == 14);
static_assert(offsetof(stSynFileDescOnUpload, dwSizeLow) == 18);
static_assert(offsetof(stSynFileDescOnUpload, ftCreateTime) == 22);
static_assert(offsetof(stSynFileDescOnUpload, ftAccessTime) == 30);
static_assert(offsetof(stSynFileDescOnUpload, wszPath) == SYNC_RECORD_FIXED_SIZE);
static_assert(sizeof(stSynFileDescOnUpload) == SYNC_RECORD_FIXED_SIZE + 2);
static_assert(SYNC_RECORD_MAX_SIZE == 558);
