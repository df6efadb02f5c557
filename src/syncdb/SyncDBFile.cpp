#include "fenwickel/SyncDBFile.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "dbglog/DbgLogger.h"
#include "platform/Platform.h"

static_assert(sizeof(WCHAR) == 2);

namespace {

bool SeekFromBegin(HANDLE file, std::uint64_t offset) {
    LARGE_INTEGER distance;
    distance.QuadPart = static_cast<LONGLONG>(offset);
    return SetFilePointerEx(file, distance, nullptr, FILE_BEGIN);
}

HANDLE OpenForRead(const WString& path, DWORD disposition) {
    return CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, disposition,
                       FILE_ATTRIBUTE_NORMAL, nullptr);
}

}  // namespace

CSyncDBFile::CSyncDBFile()
    : m_nFilePos(0),
      m_nCacheCapacity(SYNC_ITEM_CACHE_SIZE),
      m_nCacheUsed(0),
      m_nCacheItems(0),
      m_pItemCache(nullptr),
      m_hDBFile(INVALID_HANDLE_VALUE),
      m_unHeader{} {}

CSyncDBFile::CSyncDBFile(const CSyncDBFile& other) = default;
CSyncDBFile& CSyncDBFile::operator=(const CSyncDBFile& other) = default;

CSyncDBFile::~CSyncDBFile() {
    delete[] m_pItemCache;
    if (m_hDBFile != INVALID_HANDLE_VALUE && !CloseHandle(m_hDBFile)) {
        LogLastError(WIDE("[SYNC]:[%s]:failed to close db file:[%s].EC:[%d]."),
                     WIDE("CSyncDBFile::~CSyncDBFile"), m_strFileName.c_str());
    }
}

int CSyncDBFile::OpenDBFile(WString path) {
    const WCHAR* function = WIDE("CSyncDBFile::OpenDBFile");
    m_hDBFile = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                            OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (m_hDBFile == INVALID_HANDLE_VALUE) {
        return LogLastError(WIDE("[SYNC]:[%s]:open file:[%s] failed. EC:[%d]."), function,
                            path.c_str());
    }
    m_strFileName = std::move(path);
    LARGE_INTEGER size;
    if (!GetFileSizeEx(m_hDBFile, &size)) {
        return LogLastError(WIDE("[SYNC]:[%s]:Get File size of [%s] failed.EC:[%d]."), function,
                            m_strFileName.c_str());
    }
    if (size.QuadPart >= SYNC_RECORD_HEADER_SIZE) {
        DWORD bytesRead = 0;
        int result = ReadHeader(bytesRead);
        if (result == 0 && bytesRead < SYNC_RECORD_HEADER_SIZE) {
            result = SYNC_EC_FAILED;
        }
        if (result != 0) {
            return LogFailure(result, WIDE("[SYNC]:[%s]:read file header of [%s] failed.EC:[%d]."),
                              function, m_strFileName.c_str(), result);
        }
    }
    m_nFilePos = SYNC_RECORD_HEADER_SIZE;
    m_pItemCache = new unsigned char[m_nCacheCapacity];
    return 0;
}

int CSyncDBFile::OpenDBFileForRead(WString path) {
    const WCHAR* function = WIDE("CSyncDBFile::OpenDBFileForRead");
    m_strFileName = std::move(path);
    const int opened = OpenOrCreateForRead();
    if (opened != 0) {
        return opened;
    }
    LARGE_INTEGER size;
    if (!GetFileSizeEx(m_hDBFile, &size)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to get file:[%s] size.EC:[%d]."), function,
                            m_strFileName.c_str());
    }
    if (size.QuadPart < SYNC_RECORD_HEADER_SIZE) {
        return 0;
    }
    DWORD bytesRead = 0;
    const int result = ReadHeader(bytesRead);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:read header from:[%s] failed.EC:[%d]."),
                          function, m_strFileName.c_str(), result);
    }
    if (bytesRead < SYNC_RECORD_HEADER_SIZE) {
        return LogFailure(SYNC_EC_FAILED,
                          WIDE("[SYNC]:[%s]:read partial header from:[%s] failed.EC:[%d]."),
                          function, m_strFileName.c_str(), SYNC_EC_FAILED);
    }
    m_nFilePos = SYNC_RECORD_HEADER_SIZE;
    return 0;
}

// Opens m_strFileName for reading; an absent file is created empty.
int CSyncDBFile::OpenOrCreateForRead() {
    const WCHAR* function = WIDE("CSyncDBFile::OpenDBFileForRead");
    m_hDBFile = OpenForRead(m_strFileName, OPEN_EXISTING);
    if (m_hDBFile != INVALID_HANDLE_VALUE) {
        return 0;
    }
    const int error = LogLastError(WIDE("[SYNC]:[%s]:Open File:[%s] failed.EC:[%d]."), function,
                                   m_strFileName.c_str());
    if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PATH_NOT_FOUND) {
        return error;
    }
    m_hDBFile = OpenForRead(m_strFileName, CREATE_NEW);
    if (m_hDBFile != INVALID_HANDLE_VALUE) {
        return 0;
    }
    return LogLastError(WIDE("[SYNC]:[%s]:Create File:[%s] failed.EC:[%d]."), function,
                        m_strFileName.c_str());
}

// Reads the header of a file whose pointer is at its start: 0 or the Windows error code.
int CSyncDBFile::ReadHeader(DWORD& bytesRead) {
    unSyncRecordFileHeader header;
    if (!ReadFile(m_hDBFile, header.byRaw, SYNC_RECORD_HEADER_SIZE, &bytesRead, nullptr)) {
        return static_cast<int>(GetLastError());
    }
    std::memcpy(m_unHeader.byRaw, header.byRaw, bytesRead);
    return 0;
}

int CSyncDBFile::CloseDBFile() {
    delete[] m_pItemCache;
    m_pItemCache = nullptr;
    int result = 0;
    if (m_hDBFile != INVALID_HANDLE_VALUE) {
        if (CloseHandle(m_hDBFile)) {
            m_hDBFile = INVALID_HANDLE_VALUE;
        } else {
            result = LogLastError(WIDE("[SYNC]:[%s]:failed to close file:[%s].EC:[%d]."),
                                  WIDE("CSyncDBFile::CloseDBFile"), m_strFileName.c_str());
        }
    }
    m_nCacheUsed = 0;
    m_nCacheItems = 0;
    m_nFilePos = 0;
    return result;
}

int CSyncDBFile::GetHeader(unSyncRecordFileHeader& header) {
    header = m_unHeader;
    return 0;
}

int CSyncDBFile::WriteHeader(unSyncRecordFileHeader& header) {
    const WCHAR* function = WIDE("CSyncDBFile::WriteHeader");
    if (!SeekFromBegin(m_hDBFile, 0)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to seek:[%s] to pos 0. ret:[%d]."), function,
                            m_strFileName.c_str());
    }
    DWORD written = 0;
    if (!WriteFile(m_hDBFile, header.byRaw, SYNC_RECORD_HEADER_SIZE, &written, nullptr)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to write header.EC:[%d]."), function);
    }
    if (written < SYNC_RECORD_HEADER_SIZE) {
        return LogFailure(SYNC_EC_FAILED,
                          WIDE("[SYNC]:[%s]:write partial header, written size:[%d]."), function,
                          written);
    }
    return 0;
}

int CSyncDBFile::ReadRecord(char* buffer, int bufferSize, int& recordCount) {
    const WCHAR* function = WIDE("CSyncDBFile::ReadRecord");
    recordCount = 0;
    if (!SeekFromBegin(m_hDBFile, m_nFilePos)) {
        return LogLastError(WIDE("[SYNC]:[%s]:seek file:[%s] to [%I64d] failed. EC:[%d]."),
                            function, m_strFileName.c_str(), m_nFilePos);
    }
    DWORD bytesRead = 0;
    const DWORD wanted = static_cast<DWORD>(std::max(bufferSize, 0));
    if (!ReadFile(m_hDBFile, buffer, wanted, &bytesRead, nullptr)) {
        return LogLastError(WIDE("[SYNC]:[%s]: read file:[%s] failed, toreadbytes:[%d].EC:[%d]."),
                            function, m_strFileName.c_str(), bufferSize);
    }
    if (m_nFilePos < SYNC_RECORD_HEADER_SIZE) {
        return 0;  // shorter than a header: holds no records
    }
    return CountRecords(buffer, bytesRead, recordCount);
}

// Counts the whole records in the bytes read and moves m_nFilePos behind them.
int CSyncDBFile::CountRecords(const char* buffer, DWORD bytesRead, int& recordCount) {
    while (bytesRead >= SYNC_RECORD_FIXED_SIZE) {
        std::uint32_t size;
        std::memcpy(&size, buffer, sizeof size);
        if (size < SYNC_RECORD_FIXED_SIZE) {
            return recordCount > 0 ? 0 : RefuseRecord(WIDE("CSyncDBFile::ReadRecord"), size);
        }
        if (size > bytesRead) {
            break;
        }
        ++recordCount;
        m_nFilePos += size;
        buffer += size;
        bytesRead -= size;
    }
    return 0;
}

int CSyncDBFile::RefuseRecord(const WCHAR* function, std::uint32_t size) {
    return LogFailure(SYNC_EC_FAILED,
                      WIDE("[SYNC]:[%s]:damaged record in file:[%s] at offset:[%I64d], "
                           "size:[%u].EC:[%d]."),
                      function, m_strFileName.c_str(), m_nFilePos, size, SYNC_EC_FAILED);
}

int CSyncDBFile::AppendRecord(stSynFileDescOnUpload* record) {
    const WCHAR* function = WIDE("CSyncDBFile::AppendRecord");
    const std::uint32_t size = record->nRecordSize;
    if (m_pItemCache == nullptr || size < SYNC_RECORD_FIXED_SIZE || size > m_nCacheCapacity) {
        return LogFailure(SYNC_EC_FAILED,
                          WIDE("[SYNC]:[%s]:refused record of size:[%u] for file:[%s].EC:[%d]."),
                          function, size, m_strFileName.c_str(), SYNC_EC_FAILED);
    }
    if (m_nCacheUsed + size > m_nCacheCapacity) {
        const int result = WriteItemCache(function);
        if (result != 0) {
            return result;
        }
    }
    std::memcpy(m_pItemCache + m_nCacheUsed, record, size);
    m_nCacheUsed += size;
    ++m_nCacheItems;
    return 0;
}

int CSyncDBFile::WriteItemCache(const WCHAR* function) {
    const int result =
        AppendRecord(reinterpret_cast<stSynFileDescOnUpload*>(m_pItemCache),
                     static_cast<int>(m_nCacheUsed), static_cast<int>(m_nCacheItems));
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:Write Item cache failed.EC:[%d]."), function,
                          result);
    }
    m_nCacheUsed = 0;
    m_nCacheItems = 0;
    return 0;
}

int CSyncDBFile::AppendRecord(stSynFileDescOnUpload* records, int byteCount, int recordCount) {
    const WCHAR* function = WIDE("CSyncDBFile::AppendRecord");
    if (!SeekFromBegin(m_hDBFile, m_nFilePos)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to seek:[%s] to:[%I64d].ret:[%d]."), function,
                            m_strFileName.c_str(), m_nFilePos);
    }
    DWORD written = 0;
    if (!WriteFile(m_hDBFile, records, static_cast<DWORD>(byteCount), &written, nullptr)) {
        return LogLastError(WIDE("[SYNC]:[%s]:write file:[%s] failed.Bytes2Write:[%d].EC:[%d]."),
                            function, m_strFileName.c_str(), byteCount);
    }
    if (written < static_cast<DWORD>(byteCount)) {
        return LogFailure(
            SYNC_EC_FAILED,
            WIDE("[SYNC]:[%s]:partial write file:[%s], towrite:[%d], actual write:[%d]."), function,
            m_strFileName.c_str(), byteCount, written);
    }
    m_nFilePos += written;
    m_unHeader.stFields.llRecordCount += recordCount;
    return 0;
}

int CSyncDBFile::FlushDBFile() {
    const WCHAR* function = WIDE("CSyncDBFile::FlushDBFile");
    if (m_nCacheUsed != 0) {
        const int written = WriteItemCache(function);
        if (written != 0) {
            return written;
        }
    }
    const int result = WriteHeader(m_unHeader);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to write head.EC:[%d]."), function,
                          result);
    }
    if (!FlushFileBuffers(m_hDBFile)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to flush file. EC:[%d]."), function);
    }
    return 0;
}

// Tells the end of the records from damage where ReadRecord counted none; buffer holds what it
// read. A cut-off tail is shorter than the longest record and begins with a length that a record
// can have. Anything else is damage, which would hide the records behind it.
int CSyncDBFile::RequireEndOfRecords(const char* buffer) {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(m_hDBFile, &size)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to get file:[%s] size.EC:[%d]."),
                            WIDE("CSyncDBFile::RequireEndOfRecords"), m_strFileName.c_str());
    }
    const auto left = size.QuadPart - static_cast<LONGLONG>(m_nFilePos);
    std::uint32_t recordSize;
    std::memcpy(&recordSize, buffer, sizeof recordSize);
    const bool isEnd = m_nFilePos < SYNC_RECORD_HEADER_SIZE || left < SYNC_RECORD_FIXED_SIZE ||
                       (left < SYNC_RECORD_MAX_SIZE && recordSize <= SYNC_RECORD_MAX_SIZE);
    return isEnd ? 0 : RefuseRecord(WIDE("CSyncDBFile::RequireEndOfRecords"), recordSize);
}

// Resets the header to that of a new object. The next open reads the header of a file that has one.
void CSyncDBFile::ForgetHeader() {
    m_unHeader = {};
}

// Estimates the number of records: the count in the header, but no more than the size of the file
// allows.
std::uint64_t CSyncDBFile::EstimateRecordCount() const {
    LARGE_INTEGER size;
    if (!GetFileSizeEx(m_hDBFile, &size) || size.QuadPart < SYNC_RECORD_HEADER_SIZE) {
        return 0;
    }
    const auto recordBytes = static_cast<std::uint64_t>(size.QuadPart) - SYNC_RECORD_HEADER_SIZE;
    const auto stored = static_cast<std::uint64_t>(m_unHeader.stFields.llRecordCount);
    return std::min(stored, recordBytes / (SYNC_RECORD_FIXED_SIZE + 2));
}

// Drops the records that an earlier run left in a file open for writing.
int CSyncDBFile::CutToHeader() {
    LARGE_INTEGER size;
    const bool cut =
        GetFileSizeEx(m_hDBFile, &size) &&
        (size.QuadPart <= SYNC_RECORD_HEADER_SIZE ||
         (SeekFromBegin(m_hDBFile, SYNC_RECORD_HEADER_SIZE) && SetEndOfFile(m_hDBFile)));
    if (!cut) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to cut file:[%s] back to its header.EC:[%d]."),
                            WIDE("CSyncDBFile::CutToHeader"), m_strFileName.c_str());
    }
    return 0;
}

int CSyncDBFile::DeleteDBFile(const WString& path) {
    const WCHAR* function = WIDE("CSyncDBFile::DeleteDBFile");
    if (!PathFileExistsW(path.c_str())) {
        g_DbgLogger.Log(
            1, WIDE("[SYNC]:[%s]: file [%s] not exist, think delete operation successfully."),
            function, path.c_str());
        return 0;
    }
    if (!DeleteFileW(path.c_str())) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to delete file:[%s].EC:[%d]."), function,
                            path.c_str());
    }
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:succeed to delete file:[%s]."), function, path.c_str());
    return 0;
}

int CSyncDBFile::RenameDBFile(const WString& oldPath, const WString& newPath) {
    const WCHAR* function = WIDE("CSyncDBFile::RenameDBFile");
    if (!MoveFileExW(oldPath.c_str(), newPath.c_str(), MOVEFILE_WRITE_THROUGH)) {
        return LogLastError(WIDE("[SYNC]:[%s]:failed to rename from:[%s] to [%s].EC:[%d]."),
                            function, oldPath.c_str(), newPath.c_str());
    }
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:succeed to rename from:[%s] to [%s]."), function,
                    oldPath.c_str(), newPath.c_str());
    return 0;
}
