// The deleted-item list: the base records whose files the walk did not see.

#include <memory>

#include "dbglog/DbgLogger.h"
#include "fenwickel/SyncFileDatabase.h"
#include "platform/TryNew.h"
#include "syncdb/RecordGroups.h"

int CSyncFileDatabase::GenerateListofDeletedItem() {
    const WCHAR* function = WIDE("CSyncFileDatabase::GenerateListofDeletedItem");
    int result = WriteListOfDeletedItems();
    const int baseClosed = m_baseDB.CloseDBFile();
    if (baseClosed != 0) {
        LogFailure(baseClosed, WIDE("[SYNC]:[%s]:failed to close base database.EC:[%d]."), function,
                   baseClosed);
        result = result != 0 ? result : baseClosed;
    }
    // DumpDeleteItemList closed it already; open here only when it never ran or could not close.
    const int deleteClosed = m_deleteDB.CloseDBFile();
    if (deleteClosed != 0) {
        LogFailure(deleteClosed, WIDE("[SYNC]:[%s]:failed to close item deleted database.EC:[%d]."),
                   function, deleteClosed);
        result = result != 0 ? result : deleteClosed;
    }
    return result;
}

// Opens both files afresh, so that the base file is read from its first record, and fills the list.
int CSyncFileDatabase::WriteListOfDeletedItems() {
    const WCHAR* function = WIDE("CSyncFileDatabase::GenerateListofDeletedItem");
    int result = m_baseDB.CloseDBFile();
    if (result != 0) {
        return LogFailure(result,
                          WIDE("[SYNC]:[%s]:failed to close previous changed db file.EC:[%d]."),
                          function, result);
    }
    result = m_baseDB.OpenDBFileForRead(m_strBaseDBPath);
    if (result != 0) {
        return LogFailure(result,
                          WIDE("[SYNC]:[%s]:failed to open previous changed db file.EC:[%d]."),
                          function, result);
    }
    result = m_deleteDB.OpenDBFile(m_strDeleteDBPath);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to open meta delete list DB. EC:[%d]."),
                          function, result);
    }
    result = DumpDeleteItemList();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to dump deleteable list.EC:[%d]."),
                          function, result);
    }
    return 0;
}

int CSyncFileDatabase::DumpDeleteItemList() {
    const WCHAR* function = WIDE("CSyncFileDatabase::DumpDeleteItemList");
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s] start to detect deleted item."), function);
    std::int64_t deletedCount = 0;
    int result = 0;
    {
        const std::unique_ptr<char[]> buffer(TryNewArray<char>(SYNC_ITEM_CACHE_SIZE));
        if (buffer == nullptr) {
            result = LogFailure(SYNC_EC_NO_MEMORY,
                                WIDE("[SYNC]:[%s]:failed to allocate the buffer."), function);
        } else {
            result = DumpUnseenRecords(buffer.get(), deletedCount);
        }
        g_DbgLogger.Log(1, WIDE("[SYNC]:[%s] end detect deleted item, the number is:[%I64d]."),
                        function, deletedCount);
    }
    const int closed = m_deleteDB.CloseDBFile();
    if (closed != 0) {
        LogFailure(closed,
                   WIDE("[SYNC]:[%s]:failed to close new-generated item deleted database."
                        "EC:[%d]."),
                   function, closed);
    }
    return result != 0 ? result : closed;
}

int CSyncFileDatabase::DumpUnseenRecords(char* buffer, std::int64_t& deletedCount) {
    const WCHAR* function = WIDE("CSyncFileDatabase::DumpDeleteItemList");
    for (;;) {
        int recordCount = 0;
        const std::uint64_t chunkOffset = m_baseDB.m_nFilePos;
        int result = ReadBaseRecords(buffer, recordCount);
        if (result != 0) {
            return LogFailure(result,
                              WIDE("[SYNC]:[%s] failed to read from base database.EC:[%d]."),
                              function, result);
        }
        if (recordCount == 0) {
            g_DbgLogger.Log(1, WIDE("[SYNC]:[%s] read the end of base database."), function);
            return FlushDeleteList();
        }
        result = AppendUnseenRecords(buffer, recordCount, chunkOffset, deletedCount);
        if (result != 0) {
            return result;
        }
    }
}

int CSyncFileDatabase::FlushDeleteList() {
    const int result = m_deleteDB.FlushDBFile();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to flush db file:[%s].EC:[%d]."),
                          WIDE("CSyncFileDatabase::DumpDeleteItemList"), m_strDeleteDBPath.c_str(),
                          result);
    }
    return 0;
}

int CSyncFileDatabase::AppendUnseenRecords(char* buffer, int recordCount, std::uint64_t fileOffset,
                                           std::int64_t& deletedCount) {
    RecordGroups groups(buffer, recordCount, fileOffset);
    while (const std::size_t count = groups.Next()) {
        for (std::size_t i = 0; i < count; ++i) {
            m_dbCache.Prefetch(groups.Node(i).abyKey);
        }
        for (std::size_t i = 0; i < count; ++i) {
            const int result =
                AppendIfUnseen(groups.Record(i), groups.Node(i).abyKey, deletedCount);
            if (result != 0) {
                return result;
            }
        }
    }
    return groups.End(WIDE("CSyncFileDatabase::DumpDeleteItemList"), m_strBaseDBPath);
}

int CSyncFileDatabase::AppendIfUnseen(stSynFileDescOnUpload* record, const std::uint8_t key[16],
                                      std::int64_t& deletedCount) {
    const WCHAR* function = WIDE("CSyncFileDatabase::DumpDeleteItemList");
    std::uint8_t state = 0;
    int result = m_dbCache.SearchDeleteKey(key, state);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]: failed to search item.EC:[%d]."), function,
                          result);
    }
    if (state != SYNC_ITEM_DELETED) {
        return 0;
    }
    record->bySyncStatus = SYNC_ITEM_DELETED;
    ++deletedCount;
    result = m_deleteDB.AppendRecord(record);
    if (result != 0) {
        return LogFailure(result,
                          WIDE("[SYNC]:[%s]:failed to append deleted entry into:[%s].EC:[%d]."),
                          function, m_strDeleteDBPath.c_str(), result);
    }
    return 0;
}
