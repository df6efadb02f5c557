// The bounded blocking queue that joins the threads of a run, and the items that travel in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

#include "fenwickel/SyncRecord.h"
#include "fenwickel/Types.h"

// A first-in-first-out queue between threads. Items lie in a ring that is as large as the capacity
// from the start, so that passing a pointer on needs no memory: a thread without memory can still
// return what it holds.
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

    // Appends a copy of the item; waits while the queue is full. Throws only what copying the item
    // throws, and the queue then stays as it was.
    void Push(const T& item);

    // Takes the oldest item; waits while the queue is empty.
    T Pop();

private:
    // The front slot's numbers say where in the ring the oldest item is, and how many there are.
    struct Slot {
        T item{};
        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    // The slot so many places behind the oldest item's, after the last one from the front again.
    Slot& SlotBehind(std::size_t places);
    void Close();

    std::deque<Slot> m_items;
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
