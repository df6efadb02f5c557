// The bounded blocking queue that joins the threads of a run, and the items that travel in it.
#pragma once

#include <cstdint>
#include <deque>

#include "fenwickel/SyncRecord.h"
#include "fenwickel/Types.h"

// A first-in-first-out queue between threads. The capacity lives in its two semaphores alone.
//
// Threads: any number may push and pop at once. Waits have no time limit. A wait that fails, which
// a valid handle never does, ends the process: a queue that lost an item would make a wrong list.
template <typename T>
class CSyncQueue {
public:
    // Without synchronisation objects; Create makes them.
    CSyncQueue() = default;
    CSyncQueue(const CSyncQueue&) = delete;
    CSyncQueue& operator=(const CSyncQueue&) = delete;

    // Closes the lock, the filled-slot and the free-slot semaphore, then drops what is still held.
    ~CSyncQueue();

    // Makes the objects for capacity items: 0, or the Windows error code of the first that fails.
    // A queue that has objects already gives them back first and starts empty.
    int Create(std::int32_t capacity);

    // Appends a copy of the item; waits while the queue is full.
    void Push(const T& item);

    // Takes the oldest item; waits while the queue is empty.
    T Pop();

private:
    void Close();

    std::deque<T> m_items;
    HANDLE hFreeSlots = nullptr;
    HANDLE hFilledSlots = nullptr;
    HANDLE hLock = nullptr;
};

// First member of every queue item.
enum enSyncQueueItemType : std::int32_t {
    SYNC_QUEUE_ITEM_EXIT = 1,  // end of work: the consuming thread leaves its loop
    SYNC_QUEUE_ITEM_WORK = 2,
};

// One folder to walk.
struct stSyncDetectQueueItem {
    std::int32_t nType;       // enSyncQueueItemType
    std::int32_t nPathIndex;  // position of its stPathPair in the host's vector
    WString strMetaPath;
    WString strSnapshotPath;
};

// One file found. Lives in a pool of the detector and travels by pointer.
struct stSyncCheckQueueItem {
    std::int32_t nType;  // enSyncQueueItemType
    std::int32_t nPathIndex;
    // Folder of the file below the walked folder, each name followed by '\'; empty at the root.
    WCHAR szRelativeDir[MAX_PATH];
    WIN32_FIND_DATAW stFindData;
};

// One checked record on its way to the syncing file.
struct stSyncStoreQueueItem {
    std::int32_t nType;          // enSyncQueueItemType
    std::int32_t nSearchResult;  // enSyncSearchResult
    std::int32_t nPathIndex;
    stSynFileDescOnUpload* pRecord;  // a buffer of the record pool; null for the end of work
};
