// One sync record file: opened for reading or for writing, read in chunks, appended through a
// cache.
#pragma once

#include <cstdint>

#include "fenwickel/SyncCodes.h"
#include "fenwickel/SyncRecord.h"
#include "fenwickel/Types.h"

// Owns one open record file and the cache of records not yet written to it.
//
// Order of calls: an open operation on a closed object, then reads and, after OpenDBFile, appends
// and flushes, then CloseDBFile. Records appended after the last FlushDBFile are lost by the close
// and by the destructor.
//
// Threads: no lock; one thread at a time may use an object.
//
// Errors: operations returning int return 0, a Windows error code, or SYNC_EC_FAILED, and log every
// failure.
class FENWICKEL_API CSyncDBFile {
public:
    // A closed object with a zero header.
    CSyncDBFile();

    // Member-wise: the handle and the cache are shared with the source. Only closed objects may be
    // copied.
    CSyncDBFile(const CSyncDBFile& other);
    CSyncDBFile& operator=(const CSyncDBFile& other);

    // Closes the file. Does not flush.
    ~CSyncDBFile();

    // Opens for writing, creating the file if it is absent. An existing file is not cut: its header
    // is kept, writing starts again at its first record. Others may read the file meanwhile. Throws
    // std::bad_alloc when the 4 MiB cache cannot be allocated.
    int OpenDBFile(WString path);

    // Opens for reading; an absent file is created empty. Others may read the file meanwhile. A
    // file shorter than its header holds no records.
    int OpenDBFileForRead(WString path);

    // Closes the file and drops the cache. A handle that cannot be closed is kept for a later try.
    int CloseDBFile();

    // Writes the given 512 bytes over the header in the file. The header in memory stays as it is,
    // and the next FlushDBFile writes that one.
    int WriteHeader(unSyncRecordFileHeader& header);

    // Copies the header in memory. Always 0.
    int GetHeader(unSyncRecordFileHeader& header);

    // Reads the next whole records into buffer (bufferSize bytes) and sets recordCount. A count of
    // 0 with a result of 0 is the end of the records. A record shorter than its fixed part ends
    // the chunk before it; the call that meets it first fails with SYNC_EC_FAILED.
    int ReadRecord(char* buffer, int bufferSize, int& recordCount);

    // Adds one record to the cache, writing the cache out first when the record does not fit. A
    // record shorter than its fixed part or longer than the cache is refused with SYNC_EC_FAILED.
    int AppendRecord(stSynFileDescOnUpload* record);

    // Writes the cache, then the header, then forces the file to disk.
    int FlushDBFile();

    // Deletes a record file; an absent one counts as deleted.
    static int DeleteDBFile(const WString& path);

    // Renames a record file on its own volume, write-through. An existing target is an error.
    static int RenameDBFile(const WString& oldPath, const WString& newPath);

private:
    friend class CSyncFileDatabase;

    int AppendRecord(stSynFileDescOnUpload* records, int byteCount, int recordCount);
    int WriteItemCache(const WCHAR* function);
    int OpenOrCreateForRead();
    int ReadHeader(DWORD& bytesRead);
    int CountRecords(const char* buffer, DWORD bytesRead, int& recordCount);
    int RefuseRecord(const WCHAR* function, std::uint32_t size);
    int RequireEndOfRecords(const char* buffer);
    void ForgetHeader();
    int CutToHeader();
    std::uint64_t EstimateRecordCount() const;

    std::uint64_t m_nFilePos;        // file offset of the next read or cache write
    std::uint32_t m_nCacheCapacity;  // bytes, SYNC_ITEM_CACHE_SIZE
    std::uint32_t m_nCacheUsed;      // bytes of the cache in use
    std::uint32_t m_nCacheItems;     // whole records in those bytes
    unsigned char* m_pItemCache;     // owned; present only while open for writing
    HANDLE m_hDBFile;                // owned; INVALID_HANDLE_VALUE when closed
    WString m_strFileName;           // file last opened
    unSyncRecordFileHeader m_unHeader;
};
