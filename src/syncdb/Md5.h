// The MD5 message digest (RFC 1321), one message at a time and eight side by side.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

using Md5Digest = std::array<std::uint8_t, 16>;

// The digest of byteCount bytes.
Md5Digest Md5(const void* data, std::size_t byteCount);

// Bytes in a block, the unit that the digest works on.
inline constexpr std::size_t kMd5BlockSize = 64;

// Blocks that a message of byteCount bytes fills once it is padded.
constexpr std::size_t Md5BlockCount(std::size_t byteCount) {
    return (byteCount + 8) / kMd5BlockSize + 1;
}

// Pads the message of byteCount bytes at the start of buffer, which must hold
// Md5BlockCount(byteCount) blocks.
void Md5Pad(std::uint8_t* buffer, std::size_t byteCount);

// Messages that Md5Lanes digests side by side.
inline constexpr std::size_t kMd5Lanes = 8;

// The digests of kMd5Lanes padded messages; blockCounts gives the length of each. Eight short
// messages cost about as much as two or three digested one by one, since the steps of one digest
// wait for each other and those of eight do not.
void Md5Lanes(const std::uint8_t* const messages[kMd5Lanes], const std::size_t* blockCounts,
              Md5Digest* digests);
