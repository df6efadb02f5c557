// Views of shared memory, and reading what is in it.
#pragma once

#include "platform/Platform.h"

// A view of a whole block, read and write; empty when the block is smaller than T, as one planted
// by somebody else may be.
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

// The value as it is in shared memory now, read exactly once: what was checked is what is used,
// whatever a process without manners writes meanwhile.
template <typename T>
T ReadOnce(const T& shared) {
    return *static_cast<const volatile T*>(&shared);
}
