// Reads a record file from its first record to its last, checking every record. Creates and
// changes nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fenwickel/SyncRecord.h"
#include "platform/OwnedHandle.h"

// One record. The path points into the reader and lives until the next record is read.
struct RecordView {
    std::uint8_t pathIndex;
    std::uint8_t status;      // an enSyncItemStatus
    std::uint64_t size;       // bytes
    std::uint64_t writeTime;  // this and the next two: 100-ns units since 1601-01-01 UTC
    std::uint64_t createTime;
    std::uint64_t accessTime;
    std::basic_string_view<WCHAR> path;
};

// Where a record file stops making sense, and why.
struct RecordDamage {
    std::uint64_t offset;
    std::string what;

    // "damaged at byte N (WHAT)".
    std::string Text() const;
};

// What is wrong with the length of a record, null when nothing is.
const char* RecordSizeFault(std::uint32_t size);

// The same for the path of a record, given with its terminator.
const char* RecordPathFault(std::basic_string_view<WCHAR> path);

// How many records of each status a record file holds.
struct RecordCounts {
    std::uint64_t fresh = 0;  // new
    std::uint64_t changed = 0;
    std::uint64_t unchanged = 0;
    std::uint64_t deleted = 0;
};

// Open from construction to destruction; others may read the file meanwhile. One thread.
class RecordReader {
public:
    // Opens the file and reads its header. Throws Failure: Held when a writer has the file open,
    // else Failed.
    explicit RecordReader(const WString& path);
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    // Reads the next record. False at the end of the file and at the first damage. Throws Failure
    // when the file cannot be read or a stop was requested.
    bool Next(RecordView& record);

    // After Next has answered false: what is wrong with the file, if anything. A file that holds
    // other than the number of records in its header is damaged, too.
    const std::optional<RecordDamage>& Damage() const { return m_damage; }

    std::uint64_t FileSize() const { return m_fileSize; }
    std::uint64_t RecordCount() const { return m_records; }

    // Reads what is left and returns the first damage.
    std::optional<RecordDamage> Check();

    // Reads what is left and counts it. Throws Failure on damage.
    RecordCounts Count();

private:
    const unsigned char* Bytes() const;
    bool Fill(std::uint32_t neededBytes);
    void ReadHeader();
    bool Finish();
    bool Fail(std::string what);

    WString m_path;
    OwnedHandle m_file;
    std::uint64_t m_fileSize = 0;
    std::int64_t m_headerCount = 0;
    std::uint64_t m_records = 0;
    std::uint64_t m_offset = 0;  // file offset of the next record
    // Units, not bytes: every sound record has an even length, so paths stay aligned.
    std::vector<WCHAR> m_buffer;
    std::size_t m_begin = 0;  // bytes of the buffer already consumed
    std::size_t m_end = 0;    // bytes of the buffer in use
    bool m_finished = false;
    std::optional<RecordDamage> m_damage;
};
