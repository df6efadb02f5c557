// Records such as a walk over a tree of small files makes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fenwickel/SyncRecord.h"

// A listing in memory: records back to back as in a file, and where each of them starts.
class Listing {
public:
    // Paths of 40 to 150 units, different for every record.
    explicit Listing(std::size_t count) {
        for (std::size_t number = 0; number < count; ++number) {
            m_offsets.push_back(m_bytes.size());
            Append(number);
        }
    }

    std::size_t Count() const { return m_offsets.size(); }
    std::size_t ByteCount() const { return m_bytes.size(); }
    stSynFileDescOnUpload* Record(std::size_t number) {
        return reinterpret_cast<stSynFileDescOnUpload*>(m_bytes.data() + m_offsets[number]);
    }

private:
    void Append(std::size_t number) {
        const std::size_t length = 40 + number * 61 % 111;
        std::string path = std::to_string(number / 100) + '\\' + std::to_string(number) + '-';
        path.resize(length, 'x');
        stSynFileDescOnUpload record{};
        record.nRecordSize = static_cast<std::uint32_t>(SYNC_RECORD_FIXED_SIZE + 2 * length + 2);
        record.dwWriteTimeLow = static_cast<std::uint32_t>(number);
        const WString wide(path.begin(), path.end());
        const char* fixed = reinterpret_cast<const char*>(&record);
        const char* units = reinterpret_cast<const char*>(wide.c_str());
        m_bytes.insert(m_bytes.end(), fixed, fixed + SYNC_RECORD_FIXED_SIZE);
        m_bytes.insert(m_bytes.end(), units, units + 2 * length + 2);
    }

    std::vector<char> m_bytes;
    std::vector<std::size_t> m_offsets;
};
