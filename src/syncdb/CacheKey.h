// The key and hash under which the search engine holds a record.
#pragma once

#include <cstddef>

#include "fenwickel/SyncDBCache.h"
#include "fenwickel/SyncRecord.h"
#include "syncdb/Md5.h"

// Fills node from a record: the MD5 digest of its path index and path, and the hash of its write
// time and size. False for a record outside 38 to 558 bytes, which does not fit the buffer.
bool ComputeCacheKey(const stSynFileDescOnUpload* record, stSyncDBCacheNode& node);

// The same for up to kMd5Lanes records at once, each of valid size. Cheaper per record.
void ComputeCacheKeys(const stSynFileDescOnUpload* const* records, std::size_t recordCount,
                      stSyncDBCacheNode* nodes);
