// MurmurHash64A, the 64-bit hash of record attributes.
#pragma once

#include <cstdint>
#include <cstring>

// MurmurHash64A with seed 0 over 16 bytes, read as two little-endian words.
inline std::uint64_t MurmurHash64A16(const void* sixteenBytes) {
    constexpr std::uint64_t kMultiplier = 0xC6A4A7935BD1E995U;
    constexpr int kShift = 47;
    std::uint64_t words[2];
    std::memcpy(words, sixteenBytes, sizeof words);
    std::uint64_t hash = sizeof words * kMultiplier;
    for (std::uint64_t word : words) {
        word *= kMultiplier;
        word ^= word >> kShift;
        word *= kMultiplier;
        hash = (hash ^ word) * kMultiplier;
    }
    hash ^= hash >> kShift;
    hash *= kMultiplier;
    return hash ^ (hash >> kShift);
}
