// Records and whole record files for tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "fenwickel/SyncDBFile.h"

// A record as plain values.
struct Row {
    std::string path;
    int status = SYNC_ITEM_NEW;
    std::uint64_t size = 1;
    std::uint64_t writeTime = 0x01DA000012345678U;
    int pathIndex = 0;
    std::uint64_t createTime = 0x01D9000011111111U;
    std::uint64_t accessTime = 0x01D9000022222222U;

    bool operator==(const Row&) const = default;
};

template <typename Value>
void AppendLittleEndian(std::string& bytes, Value value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// The bytes of the row's record, written down independently of the structure in the library.
inline std::string RecordBytes(const Row& row) {
    const WString path = Wide(row.path);
    std::string bytes;
    AppendLittleEndian(bytes, std::uint32_t(40 + 2 * path.size()));
    AppendLittleEndian(bytes, std::uint8_t(row.pathIndex));
    AppendLittleEndian(bytes, std::uint8_t(row.status));
    for (const std::uint64_t highFirst : {row.writeTime, row.size}) {
        AppendLittleEndian(bytes, std::uint32_t(highFirst >> 32));
        AppendLittleEndian(bytes, std::uint32_t(highFirst));
    }
    AppendLittleEndian(bytes, row.createTime);
    AppendLittleEndian(bytes, row.accessTime);
    return bytes.append(reinterpret_cast<const char*>(path.c_str()), 2 * (path.size() + 1));
}

inline std::string FileBytes(const std::vector<Row>& rows) {
    std::string bytes(512, '\0');
    const auto count = std::int64_t(rows.size());
    std::memcpy(&bytes[8], &count, sizeof count);
    for (const Row& row : rows) {
        bytes += RecordBytes(row);
    }
    return bytes;
}

// A record in memory that the library may write into.
class Record {
public:
    explicit Record(const Row& row) : m_bytes(RecordBytes(row)) {}
    stSynFileDescOnUpload* get() {
        return reinterpret_cast<stSynFileDescOnUpload*>(m_bytes.data());
    }

private:
    std::string m_bytes;
};

// The rows of a record file's bytes. Stops at the first record that does not fit.
inline std::vector<Row> RowsOf(const std::string& bytes) {
    std::vector<Row> rows;
    for (std::size_t at = 512; at + 40 <= bytes.size();) {
        stSynFileDescOnUpload record;
        std::memcpy(&record, &bytes[at], sizeof record);
        if (record.nRecordSize < 40 || at + record.nRecordSize > bytes.size()) {
            break;
        }
        WString path((record.nRecordSize - 40) / 2, 0);
        std::memcpy(path.data(), &bytes[at + 38], 2 * path.size());
        Row row{Narrow(path), record.bySyncStatus,
                std::uint64_t{record.dwSizeHigh} << 32 | record.dwSizeLow,
                std::uint64_t{record.dwWriteTimeHigh} << 32 | record.dwWriteTimeLow,
                record.byPathIndex};
        std::memcpy(&row.createTime, &bytes[at + 22], 8);
        std::memcpy(&row.accessTime, &bytes[at + 30], 8);
        rows.push_back(row);
        at += record.nRecordSize;
    }
    return rows;
}
