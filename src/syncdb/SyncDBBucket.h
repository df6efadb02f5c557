// One bucket of the search engine: an ordered map that lies in one array.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "fenwickel/SyncDBCache.h"

// An ordered map from 16-byte keys, compared as memcmp does, to values. The first insert of a key
// wins; nothing is ever removed.
//
// The entries lie in ascending order in an array with gaps. A key's first eight bytes, scaled to
// the size of the array, name the slot where it is looked for first (linear probing with ordered
// runs, after Amble and Knuth, "Ordered hash tables", 1974; the scaling keeps the order). Digests
// are spread evenly, so finding or adding one touches a cache line or two where a tree would touch
// twenty. Keys made to crowd one place cost time, never correctness.
class CSyncDBBucket {
public:
    struct Entry {
        std::uint8_t abyKey[16];
        stSyncDBCacheValue value;  // a state of 0 marks a gap
    };
    static_assert(sizeof(Entry) == 32);

    // Makes room for entryCount entries. Throws std::bad_alloc.
    void Reserve(std::size_t entryCount);

    // Adds an entry unless the key is there; state must not be 0. Throws std::bad_alloc.
    void Insert(const std::uint8_t key[16], std::uint64_t attrHash, std::uint8_t state);

    // The value under the key, or null. Valid until the next Insert or Reserve.
    stSyncDBCacheValue* Find(const std::uint8_t key[16]);

    // Asks the processor to fetch what Find of this key will look at.
    void Prefetch(const std::uint8_t key[16]) const;

    std::size_t Size() const { return m_size; }

    // Calls visit(entry) in ascending order of the keys.
    template <typename Visitor>
    void ForEach(Visitor visit) const {
        for (std::size_t slot = 0; slot < m_slots; ++slot) {
            if (m_entries[slot].value.byState != 0) {
                visit(m_entries[slot]);
            }
        }
    }

private:
    struct Free {
        void operator()(Entry* entries) const { std::free(entries); }
    };

    std::size_t FirstSlot(const std::uint8_t key[16]) const;
    Entry* LowerBound(const std::uint8_t key[16]) const;
    void Grow();
    void Rebuild(std::size_t range, std::size_t slack);

    std::unique_ptr<Entry[], Free> m_entries;  // m_slots of them, the last always a gap
    std::size_t m_range = 0;                   // slots that keys are scaled to
    std::size_t m_slots = 0;                   // m_range and the slots behind, for the last runs
    std::size_t m_size = 0;
};
