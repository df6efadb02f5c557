#include "RecordReader.h"

#include <cstring>

#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "report/Stop.h"

namespace {

constexpr std::size_t kBufferBytes = 256U * 1024U;
constexpr std::uint32_t kSmallestRecord = SYNC_RECORD_FIXED_SIZE + sizeof(WCHAR);

std::uint64_t Joined(std::uint32_t high, std::uint32_t low) {
    return (std::uint64_t{high} << 32U) | low;
}

std::uint64_t Ticks(FILETIME time) {
    return Joined(time.dwHighDateTime, time.dwLowDateTime);
}

OwnedHandle OpenRecordFile(const WString& path) {
    OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (file) {
        return file;
    }
    const DWORD code = GetLastError();
    if (code == ERROR_SHARING_VIOLATION) {
        throw SystemFailure(ExitCode::Held, "read", path, code,
                            "wait until the other program has ended");
    }
    throw SystemFailure(ExitCode::Failed, "read", path, code,
                        "name a record file that exists and that you may read");
}

}  // namespace

const char* RecordSizeFault(std::uint32_t size) {
    if (size < kSmallestRecord) {
        return "a record is shorter than the shortest";
    }
    if (size > SYNC_RECORD_MAX_SIZE) {
        return "a record is longer than the longest";
    }
    return size % sizeof(WCHAR) != 0 ? "a record has an odd length" : nullptr;
}

const char* RecordPathFault(std::basic_string_view<WCHAR> path) {
    if (path.back() != 0) {
        return "a path does not end with its record";
    }
    return path.find(WCHAR{0}) + 1 != path.size() ? "a path ends before its record" : nullptr;
}

std::string RecordDamage::Text() const {
    return "damaged at byte " + std::to_string(offset) + " (" + what + ")";
}

RecordReader::RecordReader(const WString& path)
    : m_path(path), m_file(OpenRecordFile(path)), m_buffer(kBufferBytes / sizeof(WCHAR)) {
    ReadHeader();
}

void RecordReader::ReadHeader() {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(m_file.get(), &size)) {
        throw SystemFailure(ExitCode::Failed, "read the size of", m_path, GetLastError(),
                            "check the disk");
    }
    m_fileSize = static_cast<std::uint64_t>(size.QuadPart);
    if (m_fileSize == 0) {
        m_finished = true;
        return;
    }
    if (!Fill(SYNC_RECORD_HEADER_SIZE)) {
        Fail("the file is shorter than its header");
        return;
    }
    unSyncRecordFileHeader header;
    std::memcpy(&header, Bytes(), sizeof header);
    m_headerCount = header.stFields.llRecordCount;
    m_offset = SYNC_RECORD_HEADER_SIZE;
    m_begin = SYNC_RECORD_HEADER_SIZE;
}

const unsigned char* RecordReader::Bytes() const {
    return reinterpret_cast<const unsigned char*>(m_buffer.data()) + m_begin;
}

// True when at least neededBytes are in the buffer, reading on if need be.
bool RecordReader::Fill(std::uint32_t neededBytes) {
    if (m_end - m_begin >= neededBytes) {
        return true;
    }
    ThrowIfStopped();
    auto* const start = reinterpret_cast<unsigned char*>(m_buffer.data());
    std::memmove(start, start + m_begin, m_end - m_begin);
    m_end -= m_begin;
    m_begin = 0;
    DWORD bytes = 1;
    while (bytes != 0 && m_end < neededBytes) {
        if (!ReadFile(m_file.get(), start + m_end, static_cast<DWORD>(kBufferBytes - m_end), &bytes,
                      nullptr)) {
            throw SystemFailure(ExitCode::Failed, "read", m_path, GetLastError(), "check the disk");
        }
        m_end += bytes;
    }
    return m_end >= neededBytes;
}

bool RecordReader::Next(RecordView& record) {
    if (m_finished) {
        return false;
    }
    if (!Fill(kSmallestRecord)) {
        return Finish();
    }
    stSynFileDescOnUpload fixed;
    std::memcpy(&fixed, Bytes(), sizeof fixed);
    if (const char* fault = RecordSizeFault(fixed.nRecordSize)) {
        return Fail(fault);
    }
    if (!Fill(fixed.nRecordSize)) {
        return Finish();
    }
    const std::size_t pathUnits = (fixed.nRecordSize - kSmallestRecord) / sizeof(WCHAR);
    const WCHAR* path = m_buffer.data() + (m_begin + SYNC_RECORD_FIXED_SIZE) / sizeof(WCHAR);
    if (const char* fault = RecordPathFault({path, pathUnits + 1})) {
        return Fail(fault);
    }
    record = {fixed.byPathIndex,
              fixed.bySyncStatus,
              Joined(fixed.dwSizeHigh, fixed.dwSizeLow),
              Joined(fixed.dwWriteTimeHigh, fixed.dwWriteTimeLow),
              Ticks(fixed.ftCreateTime),
              Ticks(fixed.ftAccessTime),
              {path, pathUnits}};
    m_begin += fixed.nRecordSize;
    m_offset += fixed.nRecordSize;
    ++m_records;
    return true;
}

// The file has no further whole record: was that its end?
bool RecordReader::Finish() {
    if (m_offset != m_fileSize) {
        return Fail("the last record is cut off");
    }
    if (m_headerCount != static_cast<std::int64_t>(m_records)) {
        const bool more = m_headerCount > static_cast<std::int64_t>(m_records);
        return Fail("its header counts " + std::to_string(m_headerCount) + " records, it holds " +
                    std::to_string(m_records) + (more ? ": the tail is cut off" : ""));
    }
    m_finished = true;
    return false;
}

bool RecordReader::Fail(std::string what) {
    m_damage = RecordDamage{m_offset, std::move(what)};
    m_finished = true;
    return false;
}

std::optional<RecordDamage> RecordReader::Check() {
    RecordView record;
    while (Next(record)) {
    }
    return m_damage;
}

RecordCounts RecordReader::Count() {
    RecordCounts counts;
    RecordView record;
    while (Next(record)) {
        counts.fresh += record.status == SYNC_ITEM_NEW;
        counts.changed += record.status == SYNC_ITEM_CHANGED;
        counts.unchanged += record.status == SYNC_ITEM_UNCHANGED;
        counts.deleted += record.status == SYNC_ITEM_DELETED;
    }
    if (m_damage) {
        throw Failure(ExitCode::Failed, "cannot count the records of " + Quoted(m_path) + ": " +
                                            m_damage->Text() + ": check the disk and run again");
    }
    return counts;
}
