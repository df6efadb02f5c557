// Views of shared memory, and reading what is in it.
#pragma once

#include "platform/Platform.h"

// A view of a whole block, read and write; empty when the block is smaller than T, as another
// process may have made it.
template <typename T>
class SharedView {
public:
    explicit SharedView(HANDLE block)
        : m_view(static_cast<T*>(MapViewOfFile(block, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(T)))) {}
    ~SharedView() {
        if (m_view != nullptr) {
            UnmapViewOfFile(m_view);
        }
    }
    SharedView(const SharedView&) = delete;
    SharedView& operator=(const SharedView&) = delete;

    explicit operator bool() const { return m_view != nullptr; }
    T* operator->() const { return m_view; }
    T& operator*() const { return *m_view; }

private:
    T* m_view;
};

// Reads the value in shared memory exactly once, so that the value checked is the value used, even
// if a process that ignores the lock writes meanwhile.
template <typename T>
T ReadOnce(const T& shared) {
    return *static_cast<const volatile T*>(&shared);
}
