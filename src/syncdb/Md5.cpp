#include "syncdb/Md5.h"

#include <algorithm>
#include <cstring>

namespace {

// floor(2^32 * |sin(i + 1)|), RFC 1321 section 3.4.
constexpr std::uint32_t kSines[64] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
constexpr int kShifts[4][4] = {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
constexpr std::uint32_t kStart[4] = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

// Eight 32-bit words, one of each lane.
typedef std::uint32_t LaneWords __attribute__((vector_size(4 * kMd5Lanes)));

template <int Round, typename Word>
[[gnu::always_inline]] inline void Mix(const Word& b, const Word& c, const Word& d, Word& out) {
    if constexpr (Round == 0) {
        out = d ^ (b & (c ^ d));
    } else if constexpr (Round == 1) {
        out = c ^ (d & (b ^ c));
    } else if constexpr (Round == 2) {
        out = b ^ c ^ d;
    } else {
        out = c ^ (b | ~d);
    }
}

template <int Round>
constexpr int WordIndex(int step) {
    constexpr int kFactor[4] = {1, 5, 3, 7};
    constexpr int kOffset[4] = {0, 1, 5, 0};
    return (kFactor[Round] * step + kOffset[Round]) & 15;
}

template <int Round, typename Word>
[[gnu::always_inline]] inline void Rounds16(Word state[4], const Word block[16]) {
#pragma GCC unroll 16
    for (int step = 0; step < 16; ++step) {
        const int shift = kShifts[Round][step & 3];
        Word& a = state[(16 - step) & 3];
        const Word& b = state[(17 - step) & 3];
        Word mixed;
        Mix<Round>(b, state[(18 - step) & 3], state[(19 - step) & 3], mixed);
        a += mixed + block[WordIndex<Round>(step)] + kSines[Round * 16 + step];
        a = ((a << shift) | (a >> (32 - shift))) + b;
    }
}

// Works one block into the state, for one message or for all lanes at once.
template <typename Word>
[[gnu::always_inline]] inline void Compress(Word state[4], const Word block[16]) {
    Word next[4] = {state[0], state[1], state[2], state[3]};
    Rounds16<0>(next, block);
    Rounds16<1>(next, block);
    Rounds16<2>(next, block);
    Rounds16<3>(next, block);
    for (int i = 0; i < 4; ++i) {
        state[i] += next[i];
    }
}

void CompressBytes(std::uint32_t state[4], const std::uint8_t* bytes) {
    std::uint32_t block[16];
    std::memcpy(block, bytes, sizeof block);
    Compress(state, block);
}

// Gathers word by word what the lanes' blocks hold at blockOffset.
void LoadLanes(const std::uint8_t* const lanes[kMd5Lanes], LaneWords block[16]) {
    for (int word = 0; word < 16; ++word) {
        std::uint32_t gathered[kMd5Lanes];
        for (std::size_t lane = 0; lane < kMd5Lanes; ++lane) {
            std::memcpy(&gathered[lane], lanes[lane] + 4 * word, 4);
        }
        std::memcpy(&block[word], gathered, sizeof gathered);
    }
}

// Stores the state of every lane whose last block was this one.
void StoreFinished(const LaneWords state[4], const std::size_t* blockCounts, std::size_t done,
                   Md5Digest* digests) {
    for (std::size_t lane = 0; lane < kMd5Lanes; ++lane) {
        if (blockCounts[lane] == done) {
            const std::uint32_t words[4] = {state[0][lane], state[1][lane], state[2][lane],
                                            state[3][lane]};
            std::memcpy(digests[lane].data(), words, sizeof words);
        }
    }
}

}  // namespace

void Md5Pad(std::uint8_t* buffer, std::size_t byteCount) {
    const std::size_t padded = Md5BlockCount(byteCount) * kMd5BlockSize;
    std::memset(buffer + byteCount, 0, padded - byteCount);
    buffer[byteCount] = 0x80;
    const std::uint64_t bitCount = std::uint64_t{byteCount} * 8;
    std::memcpy(buffer + padded - sizeof bitCount, &bitCount, sizeof bitCount);
}

Md5Digest Md5(const void* data, std::size_t byteCount) {
    std::uint32_t state[4];
    std::copy(std::begin(kStart), std::end(kStart), state);
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    std::size_t left = byteCount;
    for (; left >= kMd5BlockSize; left -= kMd5BlockSize, bytes += kMd5BlockSize) {
        CompressBytes(state, bytes);
    }
    std::uint8_t tail[2 * kMd5BlockSize];
    std::copy_n(bytes, left, tail);
    Md5Pad(tail, left);
    const std::uint64_t bitCount = std::uint64_t{byteCount} * 8;
    const std::size_t tailSize = Md5BlockCount(left) * kMd5BlockSize;
    std::memcpy(tail + tailSize - sizeof bitCount, &bitCount, sizeof bitCount);
    for (std::size_t offset = 0; offset < tailSize; offset += kMd5BlockSize) {
        CompressBytes(state, tail + offset);
    }
    Md5Digest digest;
    std::memcpy(digest.data(), state, digest.size());
    return digest;
}

void Md5Lanes(const std::uint8_t* const messages[kMd5Lanes], const std::size_t* blockCounts,
              Md5Digest* digests) {
    LaneWords state[4];
    for (int i = 0; i < 4; ++i) {
        state[i] = LaneWords{} + kStart[i];
    }
    const std::uint8_t* lanes[kMd5Lanes];
    std::copy_n(messages, kMd5Lanes, lanes);
    const std::size_t last = *std::max_element(blockCounts, blockCounts + kMd5Lanes);
    for (std::size_t done = 1; done <= last; ++done) {
        LaneWords block[16];
        LoadLanes(lanes, block);
        Compress(state, block);
        StoreFinished(state, blockCounts, done, digests);
        for (std::size_t lane = 0; lane < kMd5Lanes; ++lane) {
            // A finished lane goes on digesting its last block; its state is not looked at again.
            lanes[lane] += done < blockCounts[lane] ? kMd5BlockSize : 0;
        }
    }
}
