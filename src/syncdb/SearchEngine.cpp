// The database's side of the search engine: building it from the base file, asking it per file.

#include <cstring>
#include <memory>

#include "dbglog/DbgLogger.h"
#include "fenwickel/SyncFileDatabase.h"
#include "platform/TryNew.h"
#include "syncdb/CacheKey.h"
#include "syncdb/RecordGroups.h"

int CSyncFileDatabase::BuildSearchEngine() {
    const WCHAR* function = WIDE("CSyncFileDatabase::BuildSearchEngine");
    int result = m_dbCache.Init();
    if (result != 0) {
        LogFailure(result, WIDE("[SYNC]:[%s]:failed to create memory db instance.EC:[%d]."),
                   function, result);
    } else {
        result = LoadBaseRecords();
    }
    const int closed = m_baseDB.CloseDBFile();
    if (closed != 0) {
        LogFailure(closed, WIDE("[SYNC]:[%s]:failed to close base db.EC:[%d]."), function, closed);
    }
    return result != 0 ? result : closed;
}

int CSyncFileDatabase::LoadBaseRecords() {
    const WCHAR* function = WIDE("CSyncFileDatabase::BuildSearchEngine");
    const std::unique_ptr<char[]> buffer(TryNewArray<char>(SYNC_ITEM_CACHE_SIZE));
    if (buffer == nullptr) {
        return LogFailure(SYNC_EC_NO_MEMORY, WIDE("[SYNC]:[%s]:failed to allocate memory."),
                          function);
    }
    int recordCount = 0;
    std::uint64_t chunkOffset = m_baseDB.m_nFilePos;
    int result = ReadBaseRecords(buffer.get(), recordCount);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to read record.EC:[%d]."), function,
                          result);
    }
    if (recordCount == 0) {
        g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:There are no item in base database."), function);
        return 0;
    }
    m_dbCache.Reserve(m_baseDB.EstimateRecordCount());
    while (recordCount != 0) {
        result = InsertBaseRecords(buffer.get(), recordCount, chunkOffset);
        if (result != 0) {
            return result;
        }
        chunkOffset = m_baseDB.m_nFilePos;
        result = ReadBaseRecords(buffer.get(), recordCount);
        if (result != 0) {
            LogFailure(result, WIDE("[SYNC]:[%s]:failed to read record from base1.EC:[%d]."),
                       function, result);
            return LogFailure(result,
                              WIDE("[SYNC]:[%s]:failed to build memory search engine.EC:[%d]."),
                              function, result);
        }
    }
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:succeed to build memory search engine."), function);
    return 0;
}

// Reads the next chunk of the base file. Records that end before the file does are damage, unless
// only a cut-off tail follows: the engine would miss the records behind it, and their files would
// count as new.
int CSyncFileDatabase::ReadBaseRecords(char* buffer, int& recordCount) {
    std::memset(buffer, 0, sizeof(std::uint32_t));  // what a read of nothing leaves there
    const int result = m_baseDB.ReadRecord(buffer, SYNC_ITEM_CACHE_SIZE, recordCount);
    return result != 0 || recordCount != 0 ? result : m_baseDB.RequireEndOfRecords(buffer);
}

int CSyncFileDatabase::InsertBaseRecords(char* buffer, int recordCount, std::uint64_t fileOffset) {
    RecordGroups groups(buffer, recordCount, fileOffset);
    while (const std::size_t count = groups.Next()) {
        for (std::size_t i = 0; i < count; ++i) {
            m_dbCache.Prefetch(groups.Node(i).abyKey);
        }
        for (std::size_t i = 0; i < count; ++i) {
            m_dbCache.Insert(groups.Node(i).abyKey, groups.Node(i).ullAttrHash, SYNC_ITEM_DELETED);
        }
    }
    return groups.End(WIDE("CSyncFileDatabase::BuildSearchEngine"), m_strBaseDBPath);
}

int CSyncFileDatabase::CreateCacheKey(stSynFileDescOnUpload* record, stSyncDBCacheNode& node) {
    return ComputeCacheKey(record, node) ? 0 : SYNC_EC_FAILED;
}

int CSyncFileDatabase::SearchUpdateFile(stSynFileDescOnUpload* record, enSyncSearchResult& result) {
    const WCHAR* function = WIDE("CSyncFileDatabase::SearchUpdateFile");
    if (!m_dbCache.IsBuilt()) {
        return LogFailure(SYNC_EC_FAILED,
                          WIDE("[SYNC]:[%s]:the memory search engine is not built.EC:[%d]."),
                          function, SYNC_EC_FAILED);
    }
    stSyncDBCacheNode node;
    const int keyed = CreateCacheKey(record, node);
    if (keyed != 0) {
        return LogFailure(keyed, WIDE("[SYNC]:[%s]:failed to Calculate cache key.EC:[%d]."),
                          function, keyed);
    }
    stSyncDBCacheValue* known = m_dbCache.Find(node.abyKey);
    if (known == nullptr) {
        m_dbCache.Insert(node.abyKey, node.ullAttrHash, SYNC_ITEM_NEW);
        result = SYNC_SEARCH_NEW;
        return 0;
    }
    const bool isForced = m_pJobControl != nullptr && m_pJobControl->ForceAllChanged();
    const bool isSame = !isForced && known->ullAttrHash == node.ullAttrHash;
    known->byState = isSame ? SYNC_ITEM_UNCHANGED : SYNC_ITEM_CHANGED;
    result = isSame ? SYNC_SEARCH_UNCHANGED : SYNC_SEARCH_CHANGED;
    return 0;
}
