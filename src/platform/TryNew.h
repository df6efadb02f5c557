// Allocation and thread start that report failure instead of throwing, open to injected faults.
#pragma once

#include <cstddef>
#include <new>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/FaultPoint.h"

// An array of count objects, or null when memory is short. The caller frees it with delete[].
template <typename T>
T* TryNewArray(std::size_t count) {
    if (FaultFails("TryNewArray")) {
        return nullptr;
    }
    return new (std::nothrow) T[count];
}

// A new object, or null when memory is short. The caller frees it with delete.
template <typename T>
T* TryNew() {
    if (FaultFails("TryNew")) {
        return nullptr;
    }
    return new (std::nothrow) T;
}

// A started thread, or null when memory is short or the system refuses to start one. The caller
// joins it and frees it with delete.
template <typename... Arguments>
std::thread* TryNewThread(Arguments&&... arguments) {
    if (FaultFails("TryNewThread")) {
        return nullptr;
    }
    try {
        return new (std::nothrow) std::thread(std::forward<Arguments>(arguments)...);
    } catch (const std::system_error&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;  // of what the thread object allocates for itself
    }
}
