// The queue's operations. Included where queues are used, so that they can be inlined there.
#pragma once

#include <exception>

#include "dbglog/DbgLogger.h"
#include "fenwickel/SyncQueue.h"
#include "platform/Platform.h"

// Waits without limit. See CSyncQueue for why a failure ends the process.
inline void WaitForQueueObject(HANDLE object) {
    if (WaitForSingleObject(object, INFINITE) != WAIT_OBJECT_0) {
        LogLastError(WIDE("[SYNC]:[%s]:failed to wait for a queue object.EC:[%d]."),
                     WIDE("CSyncQueue"));
        std::terminate();
    }
}

inline void RequireQueueRelease(BOOL released) {
    if (!released) {
        LogLastError(WIDE("[SYNC]:[%s]:failed to release a queue object.EC:[%d]."),
                     WIDE("CSyncQueue"));
        std::terminate();
    }
}

template <typename T>
int CSyncQueue<T>::Create(std::int32_t capacity) {
    Close();
    m_items.clear();
    m_items.resize(static_cast<std::size_t>(capacity));
    hLock = CreateMutexW(nullptr, FALSE, nullptr);
    if (hLock == nullptr) {
        return static_cast<int>(GetLastError());
    }
    hFreeSlots = CreateSemaphoreW(nullptr, capacity, capacity, nullptr);
    if (hFreeSlots == nullptr) {
        return static_cast<int>(GetLastError());
    }
    hFilledSlots = CreateSemaphoreW(nullptr, 0, capacity, nullptr);
    return hFilledSlots != nullptr ? 0 : static_cast<int>(GetLastError());
}

template <typename T>
void CSyncQueue<T>::Close() {
    for (HANDLE* object : {&hLock, &hFilledSlots, &hFreeSlots}) {
        if (*object != nullptr) {
            CloseHandle(*object);
            *object = nullptr;
        }
    }
}

template <typename T>
CSyncQueue<T>::~CSyncQueue() {
    Close();
}

template <typename T>
typename CSyncQueue<T>::Slot& CSyncQueue<T>::SlotBehind(std::size_t places) {
    const std::size_t place = m_items.front().first + places;
    return m_items[place < m_items.size() ? place : place - m_items.size()];
}

template <typename T>
void CSyncQueue<T>::Push(const T& item) {
    WaitForQueueObject(hFreeSlots);
    WaitForQueueObject(hLock);
    try {
        SlotBehind(m_items.front().count).item = item;
    } catch (...) {
        // Memory ran out: the queue stays as it was, so that the other threads can be ended.
        ReleaseMutex(hLock);
        ReleaseSemaphore(hFreeSlots, 1, nullptr);
        throw;
    }
    ++m_items.front().count;
    RequireQueueRelease(ReleaseMutex(hLock));
    RequireQueueRelease(ReleaseSemaphore(hFilledSlots, 1, nullptr));
}

template <typename T>
T CSyncQueue<T>::Pop() {
    WaitForQueueObject(hFilledSlots);
    WaitForQueueObject(hLock);
    Slot& front = m_items.front();
    T item = std::move(SlotBehind(0).item);
    front.first = front.first + 1 < m_items.size() ? front.first + 1 : 0;
    --front.count;
    RequireQueueRelease(ReleaseMutex(hLock));
    RequireQueueRelease(ReleaseSemaphore(hFreeSlots, 1, nullptr));
    return item;
}
