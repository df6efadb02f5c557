// The memory of a named object.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <utility>

#include "platform/posix/named/ObjectName.h"

enum class NamedKind : std::uint32_t { Mutex, Event, Mapping };

// What is wanted of an object that is about to be made.
struct NewObject {
    NamedKind kind = NamedKind::Mutex;
    std::uint64_t size = 0;    // of a mapping, in bytes
    bool manualReset = false;  // of an event
    bool initial = false;      // an event: set; a mutex: owned by the caller
};

// The first page of the memory, and of the file that it maps. Only processes of one account and of
// one build of the layer share it: the magic changes with the layout.
struct ObjectHeader {
    char magic[8];
    std::uint64_t size;  // of the payload behind this page
    std::uint64_t pidNamespace;
    std::uint32_t kind;
    std::uint32_t manualReset;
    std::uint32_t local;
    WCHAR name[kObjectNameCapacity];              // zero behind its end
    alignas(64) std::atomic<std::uint32_t> word;  // of an event: 1 when set
    // Of a mutex: 1 when its owner closed it, for the next owner to learn.
    std::atomic<std::uint32_t> abandoned;
    pthread_mutex_t mutex;  // recursive; robust: the kernel frees it when its owner ends
};
inline constexpr std::size_t kHeaderBytes = 4096;
static_assert(sizeof(ObjectHeader) <= kHeaderBytes);

// Header and payload in whole pages.
constexpr std::uint64_t MemoryBytes(const NewObject& wanted) {
    return kHeaderBytes + (wanted.size + kHeaderBytes - 1) / kHeaderBytes * kHeaderBytes;
}

// Maps the pages, header first; unmaps them at its end.
class ObjectMemory {
public:
    ObjectMemory() = default;
    ObjectMemory(ObjectMemory&& other) noexcept
        : m_start(std::exchange(other.m_start, nullptr)), m_bytes(other.m_bytes) {}
    ObjectMemory& operator=(ObjectMemory&& other) noexcept {
        std::swap(m_start, other.m_start);
        std::swap(m_bytes, other.m_bytes);
        return *this;
    }
    ~ObjectMemory();

    // Of the file, or of nothing but this process and its children for -1. Without memory, with
    // errno, when that fails.
    static ObjectMemory Map(int file, std::uint64_t bytes);

    explicit operator bool() const { return m_start != nullptr; }
    ObjectHeader* header() const { return static_cast<ObjectHeader*>(m_start); }
    void* payload() const { return static_cast<char*>(m_start) + kHeaderBytes; }
    std::uint64_t Capacity() const { return m_bytes - kHeaderBytes; }

    // Makes the zeroed memory that of a new object. False with errno.
    bool Fill(const ObjectName& name, const NewObject& wanted) const;

    // True when it is that of an object of this name.
    bool IsOf(const ObjectName& name) const;

private:
    void* m_start = nullptr;
    std::uint64_t m_bytes = 0;
};
