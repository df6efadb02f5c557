// Walks a chunk of records in small groups whose keys are computed together.
#pragma once

#include <cstddef>
#include <cstdint>

#include "fenwickel/SyncDBCache.h"
#include "fenwickel/SyncRecord.h"
#include "syncdb/Md5.h"

// True when the record's size is that of a path of 0 to 259 units, the path ends in a zero and
// holds no other. The record's nRecordSize bytes must be readable.
bool IsWellFormedRecord(const stSynFileDescOnUpload* record);

// The groups of a chunk that ReadRecord filled. Borrows the chunk.
class RecordGroups {
public:
    // recordCount records lie back to back at chunk; the first is at fileOffset of its file.
    RecordGroups(char* chunk, int recordCount, std::uint64_t fileOffset);

    // Moves to the next group and answers how many records it has: 0 at the end of the chunk and
    // in front of a damaged record.
    std::size_t Next();

    stSynFileDescOnUpload* Record(std::size_t i) { return m_records[i]; }
    const stSyncDBCacheNode& Node(std::size_t i) const { return m_nodes[i]; }

    // After Next answered 0: 0 at the end of the chunk. In front of a damaged record
    // SYNC_EC_FAILED, with a message of the given function that names the base file and the offset.
    int End(const WCHAR* function, const WString& basePath) const;

private:
    char* m_next;
    int m_left;                  // records from m_next to the end of the chunk
    std::uint64_t m_fileOffset;  // of the record at m_next
    stSynFileDescOnUpload* m_records[kMd5Lanes];
    stSyncDBCacheNode m_nodes[kMd5Lanes];
};
