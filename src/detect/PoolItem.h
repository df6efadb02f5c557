// What the worker threads share to survive a lack of memory.
#pragma once

#include <new>
#include <utility>

#include "dbglog/DbgLogger.h"
#include "detect/SyncQueueImpl.h"
#include "fenwickel/SyncCodes.h"
#include "fenwickel/SyncJobControl.h"

// A buffer of a pool in the hand of a thread: goes back to the pool's free queue at the end of the
// scope, unless it has gone back or on to another queue before.
template <typename T>
class PoolItem {
public:
    PoolItem(CSyncQueue<T*>& pool, T* item) : m_pool(pool), m_item(item) {}
    ~PoolItem() { GiveBack(); }
    PoolItem(const PoolItem&) = delete;
    PoolItem& operator=(const PoolItem&) = delete;

    void GiveBack() {
        if (m_item != nullptr) {
            m_pool.Push(Release());
        }
    }
    T* Release() { return std::exchange(m_item, nullptr); }
    T* operator->() const { return m_item; }

private:
    CSyncQueue<T*>& m_pool;
    T* m_item;
};

// One step of a worker thread, whose result it returns. A step that runs out of memory is recorded
// with the job control like any failure, which ends the run; the thread goes on and drains.
template <typename Step>
int RunWorkerStep(ISyncJobControl& control, const WCHAR* function, Step step) {
    try {
        return step();
    } catch (const std::bad_alloc&) {
        control.SetErrorCode(SYNC_EC_NO_MEMORY);
        return LogFailure(SYNC_EC_NO_MEMORY, WIDE("[SYNC]:[%s]:memory ran out.EC:[%d]."), function,
                          SYNC_EC_NO_MEMORY);
    }
}
