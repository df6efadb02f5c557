// One complete change detection: the worker threads' start, their orderly end, the listings.

#include "dbglog/DbgLogger.h"
#include "detect/SyncQueueImpl.h"
#include "fenwickel/SyncDetectFileChange.h"
#include "platform/TryNew.h"

int CSyncDetectFileChange::GenerateSyncList() {
    const WCHAR* function = WIDE("CSyncDetectFileChange::GenerateSyncList");
    if (m_pSyncDB == nullptr) {
        return LogFailure(SYNC_EC_FAILED,
                          WIDE("[SYNC]:[%s]:the detector is not initialized.EC:[%d]."), function,
                          SYNC_EC_FAILED);
    }
    int result = 0;
    try {
        result = DetectChanges();
    } catch (...) {
        // Memory ran out. The object stays usable: no thread and no open file is left behind.
        WaitExitGenListThread();
        m_pSyncDB->CloseAllDBs();
        throw;
    }
    const int closed = m_pSyncDB->CloseAllDBs();
    if (closed == 0) {
        return result;
    }
    // A close that fails never hides what failed before it.
    result = result != 0 ? result : closed;
    return LogFailure(result, WIDE("[SYNC]:[%s]:failed to close detect change related db.EC:[%d]."),
                      function, result);
}

int CSyncDetectFileChange::DetectChanges() {
    const WCHAR* function = WIDE("CSyncDetectFileChange::GenerateSyncList");
    int result = m_pSyncDB->InitSyncFileDB();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to initialize sync db.EC:[%d]."),
                          function, result);
    }
    result = WalkPairs();
    if (result != 0) {
        return result;
    }
    result = m_pSyncDB->FlushDB();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to flush db.EC:[%d]."), function,
                          result);
    }
    if (m_stContext.pJobControl->IsStopRequested()) {
        return LogFailure(
            SYNC_EC_STOPPED,
            WIDE("[SYNC]:[%s]:detect the stop event before generate the deletion DB."), function);
    }
    result = GenerateDeleteSyncList();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to generate meta delete list.EC:[%d]."),
                          function, result);
    }
    return 0;
}

// Runs the threads over all pairs. The result is the code that a worker recorded, if any.
int CSyncDetectFileChange::WalkPairs() {
    const WCHAR* function = WIDE("CSyncDetectFileChange::GenerateSyncList");
    int result = BuildSyncThread();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to build sync thread.EC:[%d]."),
                          function, result);
    }
    result = PushSyncPathToQ();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to generate index meta change.EC:[%d]."),
                          function, result);
    }
    result = WaitExitGenListThread();
    return result != 0 ? result : m_stContext.pJobControl->GetErrorCode();
}

int CSyncDetectFileChange::GenerateDeleteSyncList() {
    const int result = m_pSyncDB->GenerateListofDeletedItem();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to generate deleted list.EC:[%d]."),
                          WIDE("CSyncDetectFileChange::GenerateDeleteSyncList"), result);
    }
    return 0;
}

int CSyncDetectFileChange::BuildSyncThread() {
    struct Stage {
        std::thread** worker;
        int (CSyncDetectFileChange::*body)();
        const WCHAR* failure;
    };
    const Stage stages[] = {
        {&m_pTraverseThread, &CSyncDetectFileChange::TraverseFolderThreadImpl,
         WIDE("[SYNC]:[%s]:failed to create search file thread.")},
        {&m_pCheckThread, &CSyncDetectFileChange::CheckFileChangeThreadImpl,
         WIDE("[SYNC]:[%s]:failed to create check file thread.")},
        {&m_pStoreThread, &CSyncDetectFileChange::StoreFileThreadImpl,
         WIDE("[SYNC]:[%s]:failed to create store record thread.")},
    };
    ReleaseThreads();
    for (const Stage& stage : stages) {
        *stage.worker = TryNewThread(stage.body, this);
        if (*stage.worker == nullptr) {
            g_DbgLogger.Log(1, stage.failure, WIDE("CSyncDetectFileChange::BuildSyncThread"));
            WaitExitGenListThread();
            return SYNC_EC_NO_MEMORY;
        }
    }
    return 0;
}

// Ends the pipeline from its head, in the same way after a complete walk, a failure and a stop.
//
// Drain: a failure or a stop is recorded with the job control; nothing wakes the stages. From then
// on the traverse stage drops the folders that it is given, and check and store return their items
// to the pools unused. No stage leaves its loop before its end of work: the stage in front of it,
// or the host in PushSyncPathToQ, could be waiting for an item or a slot that only this stage
// frees.
//
// End: a stage gets its end of work only after the stage in front of it has been joined. So it has
// taken everything that was queued for it, and no other thread pushes into its queue any more. The
// end of work for the check stage travels in an item of the pool. Taking that item cannot hang,
// because the check stage still runs and returns items; it returns this one as well, so the pool is
// complete for the next run. Stages that were never started or are joined already are skipped.
int CSyncDetectFileChange::WaitExitGenListThread() {
    const auto isRunning = [](const std::thread* worker) {
        return worker != nullptr && worker->joinable();
    };
    if (isRunning(m_pTraverseThread)) {
        m_detectQueue.Push({SYNC_QUEUE_ITEM_EXIT, 0, {}, {}});
        m_pTraverseThread->join();
    }
    if (isRunning(m_pCheckThread)) {
        stSyncCheckQueueItem* item = m_freeCheckQueue.Pop();
        item->nType = SYNC_QUEUE_ITEM_EXIT;
        m_checkQueue.Push(item);
        m_pCheckThread->join();
    }
    if (isRunning(m_pStoreThread)) {
        m_storeQueue.Push({SYNC_QUEUE_ITEM_EXIT, 0, 0, nullptr});
        m_pStoreThread->join();
    }
    return 0;
}
