// The check stage, which compares each file with the previous listing, and the store stage, which
// writes the new one.
//
// Both return every item to the free queue of its pool, used or not, and leave their loops only at
// the end of work; WaitExitGenListThread says why. After a failure or a stop, which they find out
// from the job control with each item, that is all they do.

#include <cstring>
#include <string>

#include "dbglog/DbgLogger.h"
#include "detect/PathTooLong.h"
#include "detect/PoolItem.h"
#include "detect/SyncQueueImpl.h"
#include "fenwickel/SyncDetectFileChange.h"

namespace {

std::size_t WideLength(const WCHAR* text) {
    return std::char_traits<WCHAR>::length(text);
}

// Copies the item's file into the record. The path of folderLength + nameLength units fits.
void FillRecord(stSynFileDescOnUpload* record, const stSyncCheckQueueItem& item,
                std::size_t folderLength, std::size_t nameLength) {
    const WIN32_FIND_DATAW& data = item.stFindData;
    const std::size_t pathLength = folderLength + nameLength;
    record->nRecordSize = static_cast<std::uint32_t>(SYNC_RECORD_FIXED_SIZE + 2 * (pathLength + 1));
    record->byPathIndex = static_cast<std::uint8_t>(item.nPathIndex);
    record->bySyncStatus = SYNC_ITEM_UNCHANGED;
    record->dwWriteTimeHigh = data.ftLastWriteTime.dwHighDateTime;
    record->dwWriteTimeLow = data.ftLastWriteTime.dwLowDateTime;
    record->dwSizeHigh = data.nFileSizeHigh;
    record->dwSizeLow = data.nFileSizeLow;
    record->ftCreateTime = data.ftCreationTime;
    record->ftAccessTime = data.ftLastAccessTime;
    auto* path = reinterpret_cast<unsigned char*>(record) + SYNC_RECORD_FIXED_SIZE;
    std::memcpy(path, item.szRelativeDir, 2 * folderLength);
    std::memcpy(path + 2 * folderLength, data.cFileName, 2 * (nameLength + 1));
}

std::uint8_t StatusOf(enSyncSearchResult result) {
    switch (result) {
        case SYNC_SEARCH_NEW:
            return SYNC_ITEM_NEW;
        case SYNC_SEARCH_CHANGED:
            return SYNC_ITEM_CHANGED;
        default:
            return SYNC_ITEM_UNCHANGED;
    }
}

}  // namespace

int CSyncDetectFileChange::CheckFileChangeThreadImpl() {
    const WCHAR* function = WIDE("CSyncDetectFileChange::CheckFileChangeThreadImpl");
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:the detect changed item thread started!"), function);
    int result = 0;
    for (;;) {
        stSyncCheckQueueItem* item = m_checkQueue.Pop();
        if (item->nType == SYNC_QUEUE_ITEM_EXIT) {
            m_freeCheckQueue.Push(item);
            g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:the detect changed item thread will exited!"),
                            function);
            return result;
        }
        result =
            RunWorkerStep(*m_stContext.pJobControl, function, [&] { return CheckOneItem(item); });
    }
}

// Takes one item through the check and returns it to its pool. The item goes back as soon as its
// contents are in a record, before the lookup. Records a failure with the job control.
int CSyncDetectFileChange::CheckOneItem(stSyncCheckQueueItem* item) {
    PoolItem<stSyncCheckQueueItem> held(m_freeCheckQueue, item);
    ISyncJobControl& control = *m_stContext.pJobControl;
    if (control.IsStopRequested()) {
        control.SetErrorCode(SYNC_EC_STOPPED);
        return SYNC_EC_STOPPED;
    }
    if (const int recorded = control.GetErrorCode(); recorded != 0) {
        return recorded;
    }
    const std::size_t folderLength = WideLength(item->szRelativeDir);
    const std::size_t nameLength = WideLength(item->stFindData.cFileName);
    if (folderLength + nameLength > SYNC_RECORD_MAX_PATH) {
        const int result = LogPathTooLong(WIDE("CSyncDetectFileChange::CheckFileChangeThreadImpl"),
                                          item->szRelativeDir, item->stFindData.cFileName);
        held.GiveBack();
        control.SetErrorCode(result);
        return result;
    }
    stSynFileDescOnUpload* record = m_freeStoreQueue.Pop();
    FillRecord(record, *item, folderLength, nameLength);
    const std::int32_t pathIndex = item->nPathIndex;
    held.GiveBack();
    return ClassifyRecord(record, pathIndex);
}

// Looks a filled record up and hands it to the store stage.
int CSyncDetectFileChange::ClassifyRecord(stSynFileDescOnUpload* record, std::int32_t pathIndex) {
    PoolItem<stSynFileDescOnUpload> held(m_freeStoreQueue, record);
    enSyncSearchResult searchResult = SYNC_SEARCH_UNCHANGED;
    const int result = m_pSyncDB->SearchUpdateFile(record, searchResult);
    if (result != 0) {
        m_stContext.pJobControl->SetErrorCode(result);
        return result;
    }
    record->bySyncStatus = StatusOf(searchResult);
    m_storeQueue.Push({SYNC_QUEUE_ITEM_WORK, searchResult, pathIndex, held.Release()});
    return 0;
}

int CSyncDetectFileChange::StoreFileThreadImpl() {
    const WCHAR* function = WIDE("CSyncDetectFileChange::StoreFileThreadImpl");
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:the store changed item thread started!"), function);
    int result = 0;
    for (;;) {
        const stSyncStoreQueueItem item = m_storeQueue.Pop();
        if (item.nType == SYNC_QUEUE_ITEM_EXIT) {
            break;
        }
        // Copies the record, so the buffer is free in any case.
        result = RunWorkerStep(*m_stContext.pJobControl, function,
                               [&] { return StoreOneRecord(item.pRecord); });
        m_freeStoreQueue.Push(item.pRecord);
    }
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:the store changed item thread will exit!"), function);
    return result;
}

int CSyncDetectFileChange::StoreOneRecord(stSynFileDescOnUpload* record) {
    ISyncJobControl& control = *m_stContext.pJobControl;
    if (control.IsStopRequested()) {
        control.SetErrorCode(SYNC_EC_STOPPED);
        return SYNC_EC_STOPPED;
    }
    if (const int recorded = control.GetErrorCode(); recorded != 0) {
        return recorded;
    }
    const int result = m_pSyncDB->StoreFileRecord(record);
    if (result != 0) {
        control.SetErrorCode(result);
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to store new sync record.EC:[%d]."),
                          WIDE("CSyncDetectFileChange::StoreFileThreadImpl"), result);
    }
    return 0;
}
