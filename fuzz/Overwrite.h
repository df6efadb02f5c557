// Damage to a block of shared memory, as inputs describe it.
#pragma once

#include <algorithm>
#include <cstring>

#include "FuzzTarget.h"

// Writes the pieces of the input into the block: place (4 bytes, modulo the block's size), length
// (1 byte), bytes.
inline void Overwrite(void* block, std::size_t blockSize, const std::uint8_t* data,
                      std::size_t size) {
    while (size > 5) {
        std::uint32_t place = 0;
        std::memcpy(&place, data, sizeof place);
        place %= blockSize;
        const std::size_t length = std::min({std::size_t{data[4]}, size - 5, blockSize - place});
        std::memcpy(static_cast<char*>(block) + place, data + 5, length);
        data += 5 + length;
        size -= 5 + length;
    }
}

// A piece of such an input.
inline std::string Piece(std::size_t place, const std::string& bytes) {
    std::string piece(4, '\0');
    const auto number = static_cast<std::uint32_t>(place);
    std::memcpy(piece.data(), &number, sizeof number);
    return piece + static_cast<char>(bytes.size()) + bytes;
}
