// The three record files of one synchronisation, the search engine, commit and discard.
#pragma once

#include "fenwickel/SyncCodes.h"
#include "fenwickel/SyncDBCache.h"
#include "fenwickel/SyncDBFile.h"
#include "fenwickel/SyncJobControl.h"
#include "fenwickel/Types.h"

// Where the three files of a synchronisation lie, and who controls the run.
struct stSyncFileDbContext {
    WString strBaseDBPath;                   // listing of the previous synchronisation
    WString strSyncingDBPath;                // listing of this run
    WString strDeleteDBPath;                 // files of the previous listing not found in this run
    ISyncJobControl* pJobControl = nullptr;  // not owned; may be null
};

// Owns the record files of one synchronisation and the engine built from the base file.
//
// Order of calls in a run: SetDBContext, InitSyncFileDB, SearchUpdateFile and StoreFileRecord per
// file found, FlushDB, GenerateListofDeletedItem, CloseAllDBs. Afterwards TakeEffectNewSyncDB
// commits the run or RemoveChangedDB discards it, also on a fresh object with the same context.
//
// Threads: no lock. During a run one thread may call SearchUpdateFile while another calls
// StoreFileRecord; all else belongs to one thread at a time.
//
// Errors: operations return 0 or a code of SyncCodes.h, and log every failure.
class FENWICKEL_API CSyncFileDatabase {
public:
    // No paths, three closed files, no engine.
    CSyncFileDatabase();

    // Member-wise, sharing the engine. Only objects with closed files and no engine may be copied.
    CSyncFileDatabase(const CSyncFileDatabase& other);
    CSyncFileDatabase& operator=(const CSyncFileDatabase& other);

    // Closes the files (records not flushed are lost) and destroys the engine.
    ~CSyncFileDatabase();

    // Stores the context. Touches no file. Always 0.
    int SetDBContext(stSyncFileDbContext& context);

    // Opens the base file for reading (created empty when absent) and the syncing file for writing,
    // cuts what an earlier run left in the syncing and the deleted-item file back to the headers,
    // builds the engine from the base file and closes that again.
    int InitSyncFileDB();

    // Compares the record's file with the engine, marks it as seen and sets result. SYNC_EC_FAILED
    // before InitSyncFileDB and for a record outside 38 to 558 bytes. Throws std::bad_alloc.
    int SearchUpdateFile(stSynFileDescOnUpload* record, enSyncSearchResult& result);

    // Appends the record to the syncing file, through its cache.
    int StoreFileRecord(stSynFileDescOnUpload* record);

    // Writes out the syncing file and forces it to disk.
    int FlushDB();

    // Writes every base record whose file was not seen to the deleted-item file.
    int GenerateListofDeletedItem();

    // Commits: deletes the base file and renames the syncing file onto it. An absent syncing file
    // leaves the base file alone and counts as success.
    int TakeEffectNewSyncDB();

    // Discards: deletes the syncing and the deleted-item file. Never touches the base file.
    int RemoveChangedDB();

    // Closes all three files; the code of the last close that failed, or 0.
    int CloseAllDBs();

private:
    int StartWithClosedFiles();
    int CutLeftovers();
    int BuildSearchEngine();
    int LoadBaseRecords();
    int ReadBaseRecords(char* buffer, int& recordCount);
    int InsertBaseRecords(char* buffer, int recordCount, std::uint64_t fileOffset);
    int CreateCacheKey(stSynFileDescOnUpload* record, stSyncDBCacheNode& node);
    int DumpDeleteItemList();
    int WriteListOfDeletedItems();
    int DumpUnseenRecords(char* buffer, std::int64_t& deletedCount);
    int AppendUnseenRecords(char* buffer, int recordCount, std::uint64_t fileOffset,
                            std::int64_t& deletedCount);
    int AppendIfUnseen(stSynFileDescOnUpload* record, const std::uint8_t key[16],
                       std::int64_t& deletedCount);
    int FlushDeleteList();

    stSyncFileDbContext m_stDbContext;
    WString m_strBaseDBPath;
    WString m_strSyncingDBPath;
    WString m_strDeleteDBPath;
    CSyncDBFile m_baseDB;
    CSyncDBFile m_syncingDB;
    CSyncDBFile m_deleteDB;
    CSyncDBCache m_dbCache;
    ISyncJobControl* m_pJobControl;  // not owned
};
