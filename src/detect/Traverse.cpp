// The traverse stage: folders in, files out.

#include "dbglog/DbgLogger.h"
#include "detect/PathTooLong.h"
#include "detect/PoolItem.h"
#include "detect/SyncQueueImpl.h"
#include "fenwickel/SyncDetectFileChange.h"

namespace {

// An open directory search.
class Search {
public:
    Search() = default;
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;
    ~Search() {
        if (m_handle != INVALID_HANDLE_VALUE) {
            FindClose(m_handle);
        }
    }

    bool IsOpen() const { return m_handle != INVALID_HANDLE_VALUE; }

    bool First(const WString& pattern, WIN32_FIND_DATAW* data) {
        m_handle = FindFirstFileW(pattern.c_str(), data);
        return IsOpen();
    }

    bool Next(WIN32_FIND_DATAW* data) { return FindNextFileW(m_handle, data); }

private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
};

bool IsFolder(const WIN32_FIND_DATAW& entry) {
    return (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsSelfOrParent(const WCHAR* name) {
    return name[0] == WIDE('.') && (name[1] == 0 || (name[1] == WIDE('.') && name[2] == 0));
}

const WCHAR* const kFunction = WIDE("CSyncDetectFileChange::TraverseSnapshotFolder");

// The result of a walk whose search could not be opened.
int FirstEntryFailed(const WString& pattern) {
    return GetLastError() == ERROR_FILE_NOT_FOUND
               ? 0
               : LogLastError(WIDE("[SYNC]:[%s]:failed to find first:[%s].EC:[%d]."), kFunction,
                              pattern.c_str());
}

// The result of a walk whose search gave no further entry.
int NextEntryFailed(const WString& pattern) {
    return GetLastError() == ERROR_NO_MORE_FILES
               ? 0
               : LogLastError(WIDE("[SYNC]:[%s]:failed to find next:[%s].EC:[%d]."), kFunction,
                              pattern.c_str());
}

}  // namespace

int CSyncDetectFileChange::PushSyncPathToQ() {
    std::int32_t index = 0;
    for (const stPathPair& pair : m_vecPathPairs) {
        m_detectQueue.Push({SYNC_QUEUE_ITEM_WORK, index++, pair.strMetaPath, pair.strSnapshotPath});
    }
    return 0;
}

int CSyncDetectFileChange::TraverseFolderThreadImpl() {
    const WCHAR* function = WIDE("CSyncDetectFileChange::TraverseFolderThreadImpl");
    ISyncJobControl& control = *m_stContext.pJobControl;
    g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:the traverse changed item thread started!"), function);
    int result = 0;
    for (;;) {
        const stSyncDetectQueueItem item = m_detectQueue.Pop();
        if (item.nType == SYNC_QUEUE_ITEM_EXIT) {
            g_DbgLogger.Log(1, WIDE("[SYNC]:[%s]:the traverse changed item thread will exit!"),
                            function);
            return result;
        }
        result = RunWorkerStep(control, function, [&] {
            if (control.GetErrorCode() != 0) {
                return result;  // takes and drops the remaining pairs: the host waits to queue them
            }
            const int walked = TraverseSnapshotFolder(item.strSnapshotPath, item.nPathIndex, {}, 0);
            if (walked != 0) {
                control.SetErrorCode(walked);
            }
            return walked;
        });
    }
}

// Walks one folder depth-first and queues its files. The search writes each entry straight into an
// item of the pool, which then goes to the check stage or back to the free queue.
//
// The job control is asked once per folder. After a failure or a stop the loop therefore lists the
// folder that it is in to the end, with every file going through the check stage unused, and the
// walk ends at the next folder that it enters.
int CSyncDetectFileChange::TraverseSnapshotFolder(const WString& snapshotFolder, int pathIndex,
                                                  const WString& relativeFolder, int depth) {
    const WString pattern = snapshotFolder + WIDE("*.*");
    if (m_stContext.pJobControl->IsStopRequested()) {
        return LogFailure(SYNC_EC_STOPPED, WIDE("[SYNC]:[%s] detect the stop event."), kFunction);
    }
    if (const int recorded = m_stContext.pJobControl->GetErrorCode(); recorded != 0) {
        return recorded;
    }
    Search search;
    for (;;) {
        PoolItem<stSyncCheckQueueItem> item(m_freeCheckQueue, m_freeCheckQueue.Pop());
        const bool isFirst = !search.IsOpen();
        WIN32_FIND_DATAW& entry = item->stFindData;
        if (!(isFirst ? search.First(pattern, &entry) : search.Next(&entry))) {
            return isFirst ? FirstEntryFailed(pattern) : NextEntryFailed(pattern);
        }
        if (!IsFolder(entry)) {
            HandleOneItem(pathIndex, relativeFolder, item.Release(), depth);
            continue;
        }
        const bool isSkipped = IsSelfOrParent(entry.cFileName) ||
                               IsIgnoredDirectory(entry.cFileName, pathIndex, depth);
        const WString child = isSkipped ? WString() : entry.cFileName + WString(WIDE("\\"));
        item.GiveBack();
        if (isSkipped) {
            continue;
        }
        const int result = TraverseSnapshotFolder(snapshotFolder + child, pathIndex,
                                                  relativeFolder + child, depth + 1);
        if (result != 0) {
            return result;
        }
    }
}

bool CSyncDetectFileChange::IsIgnoredDirectory(const WString& name, int pathIndex, int depth) {
    const auto ignored = m_stContext.mapIgnoredDirs.find(pathIndex);
    if (depth != 0 || ignored == m_stContext.mapIgnoredDirs.end()) {
        return false;
    }
    for (const WString& ignoredName : ignored->second) {
        if (ignoredName == name) {
            return true;
        }
    }
    return false;
}

int CSyncDetectFileChange::HandleOneItem(int pathIndex, const WString& relativeFolder,
                                         stSyncCheckQueueItem* item, int /*unused*/) {
    if (relativeFolder.size() >= MAX_PATH) {
        LogPathTooLong(WIDE("CSyncDetectFileChange::HandleOneItem"), relativeFolder.c_str(),
                       item->stFindData.cFileName);
        m_freeCheckQueue.Push(item);
        m_stContext.pJobControl->SetErrorCode(SYNC_EC_PATH_TOO_LONG);
        return 0;
    }
    item->nType = SYNC_QUEUE_ITEM_WORK;
    item->nPathIndex = pathIndex;
    relativeFolder.copy(item->szRelativeDir, relativeFolder.size());
    item->szRelativeDir[relativeFolder.size()] = 0;
    m_checkQueue.Push(item);
    return 0;
}
