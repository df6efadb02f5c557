// Change detection: walks folders and writes the listings of new, changed and deleted files.
#pragma once

#include <cstdint>
#include <map>
#include <thread>
#include <vector>

#include "fenwickel/SyncCodes.h"
#include "fenwickel/SyncFileDatabase.h"
#include "fenwickel/SyncJobControl.h"
#include "fenwickel/SyncQueue.h"
#include "fenwickel/Types.h"

// One folder to examine. Its position in the vector given to SetDetectMetaPath is its path index;
// records keep the low 8 bits of it, so they distinguish 256 pairs.
struct stPathPair {
    WString strMetaPath;      // the folder as the host knows it; carried along, not read
    WString strSnapshotPath;  // the folder that is walked; must end with a backslash
};

// What one run works with.
struct stDetectFileChangeContext {
    WString strBaseDBPath;     // listing of the previous synchronisation
    WString strSyncingDBPath;  // listing that the run writes
    WString strDeleteDBPath;   // list of deleted files that the run writes
    // Per path index, names of folders directly below the walked folder that are skipped. Exact,
    // case-sensitive.
    std::map<std::int32_t, std::vector<WString>> mapIgnoredDirs;
    ISyncJobControl* pJobControl = nullptr;  // not owned; must outlive the detector
};

// Runs change detections with three worker threads: traverse, check, store.
//
// Order of calls: SetDetectMetaPath, InitFileChangeDetector, GenerateSyncList, and RemoteChangedDB
// to discard what the run wrote. Both of the last two may be repeated, so may the initialisation.
// The worker threads live only inside GenerateSyncList.
//
// Threads: the host calls one object from one thread at a time.
//
// Errors: operations return 0 or a code of SyncCodes.h, and log every failure. std::bad_alloc of
// the calling thread leaves InitFileChangeDetector and GenerateSyncList; a worker thread that runs
// out of memory ends the run with SYNC_EC_NO_MEMORY.
class FENWICKEL_API CSyncDetectFileChange {
public:
    CSyncDetectFileChange();
    CSyncDetectFileChange(const CSyncDetectFileChange&) = delete;
    CSyncDetectFileChange& operator=(const CSyncDetectFileChange&) = delete;

    // Destroys the database, the buffers and the queues. Must not run during GenerateSyncList.
    ~CSyncDetectFileChange();

    // Replaces the folders to examine. Always 0.
    int SetDetectMetaPath(std::vector<stPathPair>& pairs);

    // Copies the context and makes queues, buffers and database. SYNC_EC_FAILED without a control
    // object. What a failed call had made stays until the destructor or the next call.
    int InitFileChangeDetector(stDetectFileChangeContext& context);

    // One complete change detection; returns the first failure. SYNC_EC_FAILED before a successful
    // InitFileChangeDetector. The files that a failed run wrote stay until RemoteChangedDB.
    int GenerateSyncList();

    // Deletes the syncing and the deleted-item file of the run. 0 before InitFileChangeDetector.
    int RemoteChangedDB();

private:
    int BuildSyncQueue();
    int BuildSyncThread();
    int WaitExitGenListThread();
    int DetectChanges();
    int WalkPairs();
    int GenerateDeleteSyncList();
    void ReleaseThreads();
    void ReleaseBuffers();

    int PushSyncPathToQ();
    int TraverseFolderThreadImpl();
    int TraverseSnapshotFolder(const WString& snapshotFolder, int pathIndex,
                               const WString& relativeFolder, int depth);
    bool IsIgnoredDirectory(const WString& name, int pathIndex, int depth);
    int HandleOneItem(int pathIndex, const WString& relativeFolder, stSyncCheckQueueItem* item,
                      int unused);

    int CheckFileChangeThreadImpl();
    int CheckOneItem(stSyncCheckQueueItem* item);
    int ClassifyRecord(stSynFileDescOnUpload* record, std::int32_t pathIndex);
    int StoreFileThreadImpl();
    int StoreOneRecord(stSynFileDescOnUpload* record);

    CSyncFileDatabase* m_pSyncDB;         // owned
    stSyncCheckQueueItem* m_pCheckItems;  // owned array of m_nCheckItemCount
    unsigned char* m_pStoreRecords;       // owned array of m_nStoreRecordCount longest records
    std::int32_t m_nStoreRecordCount;
    std::int32_t m_nCheckItemCount;
    std::thread* m_pTraverseThread;  // owned
    std::thread* m_pCheckThread;     // owned
    std::thread* m_pStoreThread;     // owned
    stDetectFileChangeContext m_stContext;
    std::vector<stPathPair> m_vecPathPairs;
    CSyncQueue<stSyncDetectQueueItem> m_detectQueue;
    CSyncQueue<stSyncCheckQueueItem*> m_checkQueue;
    CSyncQueue<stSyncCheckQueueItem*> m_freeCheckQueue;
    CSyncQueue<stSyncStoreQueueItem> m_storeQueue;
    CSyncQueue<stSynFileDescOnUpload*> m_freeStoreQueue;
};
