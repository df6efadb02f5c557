// Shared memory that exists as long as some process is attached, and that no process can shrink.
//
// It is System V memory that is marked for removal as soon as its maker is attached: others still
// attach by its number, and the system frees it with its last holder, however that one ends.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

// At the beginning of the memory, on a page of its own; the payload follows. Other accounts may
// write here, so all but the word is read only once, when the object is opened.
struct SegmentHeader {
    std::uint64_t nonce;  // equal to that of the record that led here
    std::uint64_t size;   // of the payload, in bytes
    std::uint32_t kind;
    std::uint32_t manualReset;
    std::atomic<std::uint32_t> word;  // event: 1 set, 0 not; mutex: 1 while it is owned
};
static_assert(std::atomic<std::uint32_t>::is_always_lock_free, "processes share it");

// Holds one attachment.
class Segment {
public:
    Segment() = default;
    Segment(Segment&& other) noexcept;
    Segment& operator=(Segment&& other) noexcept;
    ~Segment();

    explicit operator bool() const { return m_memory != nullptr; }
    int id() const { return m_id; }
    SegmentHeader* header() const { return static_cast<SegmentHeader*>(m_memory); }
    void* payload() const;

    // Bytes of payload that are really there, in whole pages.
    std::size_t Capacity() const { return m_capacity; }

    // Attachments of all processes, this one included: now (0 when that cannot be told), and when
    // this one was made.
    std::size_t Holders() const;
    std::size_t HoldersAtFirst() const { return m_holdersAtFirst; }

    // Whether it was marked for removal when this attachment was made. The maker marks memory of
    // this layer before it publishes its number.
    bool MarkedAtFirst() const { return m_markedAtFirst; }

    // New memory, all zero, under a key that no other has (EEXIST otherwise, try another). The key
    // is gone when this returns. False sets errno.
    bool Make(key_t key, std::uint64_t payloadSize, mode_t mode);

    // False sets errno: EINVAL or EIDRM when there is no such memory.
    bool Attach(int id);

private:
    void Detach();
    bool Measure();

    void* m_memory = nullptr;
    std::size_t m_capacity = 0;
    std::size_t m_holdersAtFirst = 0;
    bool m_markedAtFirst = false;
    int m_id = -1;
};

// A key that marks memory in the making as this layer's own.
key_t SegmentKey(std::uint64_t random);

// Removes the memory of a maker that was killed before it had marked it for removal. Leaves alone
// what has another sort of key, another size or a holder. The key and size may also be those of
// memory that a process is making right now, in this folder or another: that process tries again.
void RemoveAbandonedSegment(key_t key, std::uint64_t payloadSize);
