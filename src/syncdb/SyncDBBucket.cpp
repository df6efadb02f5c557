#include "syncdb/SyncDBBucket.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t kFirstRange = 32;
constexpr std::size_t kFirstSlack = 32;

// At most four entries to five slots: beyond that the runs between gaps grow quickly.
bool IsFull(std::size_t size, std::size_t range) {
    return size * 5 >= range * 4;
}

std::uint64_t BigEndian64(const std::uint8_t* bytes) {
    std::uint64_t value;
    std::memcpy(&value, bytes, sizeof value);
    return __builtin_bswap64(value);
}

}  // namespace

std::size_t CSyncDBBucket::FirstSlot(const std::uint8_t key[16]) const {
    // The upper half of a 64 by 64 bit product, from the upper 32 bits of the key alone: exact
    // enough for any array that fits memory twice over.
    return static_cast<std::size_t>((BigEndian64(key) >> 32) * m_range >> 32);
}

// The entry of the key, or the gap or larger entry in front of which it belongs.
CSyncDBBucket::Entry* CSyncDBBucket::LowerBound(const std::uint8_t key[16]) const {
    const std::uint64_t high = BigEndian64(key);
    const std::uint64_t low = BigEndian64(key + 8);
    Entry* entry = &m_entries[FirstSlot(key)];
    for (;; ++entry) {
        const std::uint64_t entryHigh = BigEndian64(entry->abyKey);
        const bool isLess =
            entryHigh < high || (entryHigh == high && BigEndian64(entry->abyKey + 8) < low);
        if (entry->value.byState == 0 || !isLess) {
            return entry;
        }
    }
}

stSyncDBCacheValue* CSyncDBBucket::Find(const std::uint8_t key[16]) {
    if (m_size == 0) {
        return nullptr;
    }
    Entry* entry = LowerBound(key);
    const bool isKey = entry->value.byState != 0 && std::memcmp(entry->abyKey, key, 16) == 0;
    return isKey ? &entry->value : nullptr;
}

void CSyncDBBucket::Prefetch(const std::uint8_t key[16]) const {
    if (m_size != 0) {
        __builtin_prefetch(&m_entries[FirstSlot(key)]);
    }
}

void CSyncDBBucket::Insert(const std::uint8_t key[16], std::uint64_t attrHash, std::uint8_t state) {
    if (IsFull(m_size + 1, m_range)) {
        Grow();
    }
    Entry* place = LowerBound(key);
    if (place->value.byState != 0 && std::memcmp(place->abyKey, key, 16) == 0) {
        return;
    }
    Entry* gap = place;
    while (gap->value.byState != 0) {
        ++gap;
    }
    if (gap == &m_entries[m_slots - 1]) {
        // The last gap is what ends every search; it must stay one.
        Rebuild(m_range, 2 * (m_slots - m_range));
        Insert(key, attrHash, state);
        return;
    }
    std::move_backward(place, gap, gap + 1);
    std::memcpy(place->abyKey, key, 16);
    place->value = {attrHash, state};
    ++m_size;
}

void CSyncDBBucket::Reserve(std::size_t entryCount) {
    const std::size_t range = entryCount / 3 * 4;
    if (range > m_range) {
        Rebuild(range, kFirstSlack);
    }
}

void CSyncDBBucket::Grow() {
    Rebuild(std::max(kFirstRange, m_range * 2), kFirstSlack);
}

// Moves the entries, in order, into an array of range + slack slots; more when the last runs need
// it.
void CSyncDBBucket::Rebuild(std::size_t range, std::size_t slack) {
    const std::size_t slots = range + std::max(slack, m_slots - m_range) + 1;
    CSyncDBBucket next;
    next.m_entries.reset(static_cast<Entry*>(std::calloc(slots, sizeof(Entry))));
    if (next.m_entries == nullptr) {
        throw std::bad_alloc();
    }
    next.m_range = range;
    next.m_slots = slots;
    std::size_t free = 0;
    ForEach([&](const Entry& entry) {
        const std::size_t slot = std::max(free, next.FirstSlot(entry.abyKey));
        next.m_entries[slot] = entry;
        free = slot + 1;
    });
    next.m_size = m_size;
    *this = std::move(next);
}
