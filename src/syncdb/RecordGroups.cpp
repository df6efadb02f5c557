#include "syncdb/RecordGroups.h"

#include <cstring>

#include "dbglog/DbgLogger.h"
#include "fenwickel/SyncCodes.h"
#include "syncdb/CacheKey.h"

bool IsWellFormedRecord(const stSynFileDescOnUpload* record) {
    const std::uint32_t size = record->nRecordSize;
    if (size < SYNC_RECORD_FIXED_SIZE + 2 || size > SYNC_RECORD_MAX_SIZE || size % 2 != 0) {
        return false;
    }
    const auto* path = reinterpret_cast<const char*>(record) + SYNC_RECORD_FIXED_SIZE;
    const std::size_t units = (size - SYNC_RECORD_FIXED_SIZE) / 2;
    // Looks at every unit instead of stopping at the first zero: without an early end the compiler
    // can test many units at a time.
    unsigned zeros = 0;
    for (std::size_t i = 0; i < units; ++i) {
        std::uint16_t unit;
        std::memcpy(&unit, path + 2 * i, sizeof unit);
        zeros += unit == 0;
    }
    return zeros == 1 && path[2 * units - 2] == 0 && path[2 * units - 1] == 0;
}

RecordGroups::RecordGroups(char* chunk, int recordCount, std::uint64_t fileOffset)
    : m_next(chunk), m_left(recordCount), m_fileOffset(fileOffset) {}

std::size_t RecordGroups::Next() {
    std::size_t count = 0;
    while (count < kMd5Lanes && m_left > 0) {
        auto* record = reinterpret_cast<stSynFileDescOnUpload*>(m_next);
        if (!IsWellFormedRecord(record)) {
            break;
        }
        m_records[count++] = record;
        m_next += record->nRecordSize;
        m_fileOffset += record->nRecordSize;
        --m_left;
    }
    if (count > 0) {
        ComputeCacheKeys(m_records, count, m_nodes);
    }
    return count;
}

int RecordGroups::End(const WCHAR* function, const WString& basePath) const {
    if (m_left == 0) {
        return 0;
    }
    return LogFailure(SYNC_EC_FAILED,
                      WIDE("[SYNC]:[%s]:damaged record in base database:[%s] at "
                           "offset:[%I64d].EC:[%d]."),
                      function, basePath.c_str(), m_fileOffset, SYNC_EC_FAILED);
}
