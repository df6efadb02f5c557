#include "fenwickel/SyncFileDatabase.h"

#include "dbglog/DbgLogger.h"
#include "platform/Platform.h"

CSyncFileDatabase::CSyncFileDatabase() : m_pJobControl(nullptr) {}

CSyncFileDatabase::CSyncFileDatabase(const CSyncFileDatabase& other) = default;
CSyncFileDatabase& CSyncFileDatabase::operator=(const CSyncFileDatabase& other) = default;

CSyncFileDatabase::~CSyncFileDatabase() {
    m_baseDB.CloseDBFile();
    m_syncingDB.CloseDBFile();
    m_deleteDB.CloseDBFile();
    m_dbCache.Destroy();
}

int CSyncFileDatabase::SetDBContext(stSyncFileDbContext& context) {
    m_stDbContext = context;
    m_strBaseDBPath = context.strBaseDBPath;
    m_strSyncingDBPath = context.strSyncingDBPath;
    m_strDeleteDBPath = context.strDeleteDBPath;
    m_pJobControl = context.pJobControl;
    return 0;
}

int CSyncFileDatabase::InitSyncFileDB() {
    const WCHAR* function = WIDE("CSyncFileDatabase::InitSyncFileDB");
    int result = StartWithClosedFiles();
    if (result != 0) {
        return LogFailure(result,
                          WIDE("[SYNC]:[%s]:failed to close the files of an earlier run.EC:[%d]."),
                          function, result);
    }
    result = m_baseDB.OpenDBFileForRead(m_strBaseDBPath);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to open base db file:[%s].EC:[%d]."),
                          function, m_strBaseDBPath.c_str(), result);
    }
    result = m_syncingDB.OpenDBFile(m_strSyncingDBPath);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to open syncing db file:[%s].EC:[%d]."),
                          function, m_strSyncingDBPath.c_str(), result);
    }
    result = CutLeftovers();
    if (result != 0) {
        return LogFailure(result,
                          WIDE("[SYNC]:[%s]:failed to drop the records of an earlier run."
                               "EC:[%d]."),
                          function, result);
    }
    result = BuildSearchEngine();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to build memory search engine.EC:[%d]."),
                          function, result);
    }
    return 0;
}

// A second run on this object starts like the first, whatever became of the files in between.
int CSyncFileDatabase::StartWithClosedFiles() {
    const int result = CloseAllDBs();
    m_baseDB.ForgetHeader();
    m_syncingDB.ForgetHeader();
    m_deleteDB.ForgetHeader();
    return result;
}

// Without this, a reader of a list would find records of an earlier run behind those of this one.
int CSyncFileDatabase::CutLeftovers() {
    int result = m_syncingDB.CutToHeader();
    if (result != 0) {
        return result;
    }
    if (!PathFileExistsW(m_strDeleteDBPath.c_str())) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND
                   ? 0
                   : LogLastError(WIDE("[SYNC]:[%s]:failed to look for file:[%s].EC:[%d]."),
                                  WIDE("CSyncFileDatabase::CutLeftovers"),
                                  m_strDeleteDBPath.c_str());
    }
    result = m_deleteDB.OpenDBFile(m_strDeleteDBPath);
    if (result == 0) {
        result = m_deleteDB.CutToHeader();
    }
    const int closed = m_deleteDB.CloseDBFile();
    return result != 0 ? result : closed;
}

int CSyncFileDatabase::StoreFileRecord(stSynFileDescOnUpload* record) {
    const int result = m_syncingDB.AppendRecord(record);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to write new sync record.EC:[%d]."),
                          WIDE("CSyncFileDatabase::StoreFileRecord"), result);
    }
    return 0;
}

int CSyncFileDatabase::FlushDB() {
    const int result = m_syncingDB.FlushDBFile();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to flush database.EC:[%d]."),
                          WIDE("CSyncFileDatabase::FlushDB"), result);
    }
    return 0;
}

// The commit has two steps: delete the base file, rename the syncing file onto it. The rename does
// not replace a file, so the delete comes first. Which files exist tells how far a commit came:
//
//   base and syncing   not begun, or the delete failed: the previous listing counts
//   syncing alone      cut off between the steps, or the rename failed: the new listing is complete
//                      in the syncing file; a second call finishes, as an absent base counts as
//                      deleted
//   base alone         done; a second call finds nothing to do and succeeds
//
// Nothing here looks into the files. The caller commits only a listing that was flushed complete,
// and must not start a run in the second state: InitSyncFileDB would take the absent base for a
// first run and cut the only listing there is. A rename onto another volume fails after the delete,
// so the caller keeps both files on one.
int CSyncFileDatabase::TakeEffectNewSyncDB() {
    const WCHAR* function = WIDE("CSyncFileDatabase::TakeEffectNewSyncDB");
    int result = m_baseDB.CloseDBFile();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:close the old db file failed."), function);
    }
    result = m_syncingDB.CloseDBFile();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:close the new db file failed."), function);
    }
    if (!PathFileExistsW(m_strSyncingDBPath.c_str())) {
        g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:file:[%s] is not exist."), function,
                        m_strSyncingDBPath.c_str());
        return 0;
    }
    result = CSyncDBFile::DeleteDBFile(m_strBaseDBPath);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to delete file:[%s].EC:[%d]."), function,
                          m_strBaseDBPath.c_str(), result);
    }
    result = CSyncDBFile::RenameDBFile(m_strSyncingDBPath, m_strBaseDBPath);
    if (result != 0) {
        return LogFailure(result,
                          WIDE("[SYNC]:[%s]:failed to rename the replace the old DB.EC:[%d]."),
                          function, result);
    }
    return 0;
}

int CSyncFileDatabase::RemoveChangedDB() {
    const WCHAR* function = WIDE("CSyncFileDatabase::RemoveChangedDB");
    m_baseDB.CloseDBFile();
    m_syncingDB.CloseDBFile();
    m_deleteDB.CloseDBFile();
    int result = CSyncDBFile::DeleteDBFile(m_strSyncingDBPath);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to delete db:[%s].EC:[%d]."), function,
                          m_strSyncingDBPath.c_str(), result);
    }
    result = CSyncDBFile::DeleteDBFile(m_strDeleteDBPath);
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to delete db(del):[%s].EC:[%d]."),
                          function, m_strDeleteDBPath.c_str(), result);
    }
    return 0;
}

int CSyncFileDatabase::CloseAllDBs() {
    const WCHAR* function = WIDE("CSyncFileDatabase::CloseAllDBs");
    int result = m_baseDB.CloseDBFile();
    if (result != 0) {
        LogFailure(result, WIDE("[SYNC]:[%s]:failed to close base db.EC:[%d]."), function, result);
    }
    const int syncingClosed = m_syncingDB.CloseDBFile();
    if (syncingClosed != 0) {
        result = LogFailure(syncingClosed, WIDE("[SYNC]:[%s]:failed to close current db.EC:[%d]."),
                            function, syncingClosed);
    }
    const int deleteClosed = m_deleteDB.CloseDBFile();
    if (deleteClosed != 0) {
        result = LogFailure(deleteClosed, WIDE("[SYNC]:[%s]:failed to close delete db.EC:[%d]."),
                            function, deleteClosed);
    }
    return result;
}
