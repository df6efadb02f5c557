#include "fenwickel/SyncDetectFileChange.h"

#include "dbglog/DbgLogger.h"
#include "detect/SyncQueueImpl.h"
#include "platform/TryNew.h"

namespace {

constexpr std::int32_t kPoolSize = 1024;
constexpr std::int32_t kDetectQueueCapacity = 2;

int LogQueueFailure(const WCHAR* format, int code) {
    return LogFailure(code, format, WIDE("CSyncDetectFileChange::BuildSyncQueue"), code);
}

}  // namespace

CSyncDetectFileChange::CSyncDetectFileChange()
    : m_pSyncDB(nullptr),
      m_pCheckItems(nullptr),
      m_pStoreRecords(nullptr),
      m_nStoreRecordCount(kPoolSize),
      m_nCheckItemCount(kPoolSize),
      m_pTraverseThread(nullptr),
      m_pCheckThread(nullptr),
      m_pStoreThread(nullptr) {}

CSyncDetectFileChange::~CSyncDetectFileChange() {
    // Ends threads that an exception left behind; after an ordinary run none is left.
    WaitExitGenListThread();
    delete m_pSyncDB;
    m_pSyncDB = nullptr;
    ReleaseThreads();
    ReleaseBuffers();
    // The queues, the pair vector and the context follow in reverse order of declaration; the
    // context is declared in front of the vector.
}

void CSyncDetectFileChange::ReleaseThreads() {
    for (std::thread** worker : {&m_pTraverseThread, &m_pCheckThread, &m_pStoreThread}) {
        delete *worker;
        *worker = nullptr;
    }
}

void CSyncDetectFileChange::ReleaseBuffers() {
    delete[] m_pCheckItems;
    m_pCheckItems = nullptr;
    delete[] m_pStoreRecords;
    m_pStoreRecords = nullptr;
}

int CSyncDetectFileChange::SetDetectMetaPath(std::vector<stPathPair>& pairs) {
    if (&pairs != &m_vecPathPairs) {
        m_vecPathPairs = pairs;
    }
    return 0;
}

int CSyncDetectFileChange::InitFileChangeDetector(stDetectFileChangeContext& context) {
    const WCHAR* function = WIDE("CSyncDetectFileChange::InitFileChangeDetector");
    delete m_pSyncDB;
    m_pSyncDB = nullptr;
    if (context.pJobControl == nullptr) {
        return LogFailure(SYNC_EC_FAILED, WIDE("[SYNC]:[%s]:there is no job control.EC:[%d]."),
                          function, SYNC_EC_FAILED);
    }
    m_stContext = context;
    const int result = BuildSyncQueue();
    if (result != 0) {
        return LogFailure(result, WIDE("[SYNC]:[%s]:failed to build sync Queue.EC:[%d]."), function,
                          result);
    }
    m_pSyncDB = TryNew<CSyncFileDatabase>();
    if (m_pSyncDB == nullptr) {
        return LogFailure(SYNC_EC_FAILED,
                          WIDE("[SYNC]:[%s]:failed to allocate sync Database object."), function);
    }
    stSyncFileDbContext dbContext{context.strBaseDBPath, context.strSyncingDBPath,
                                  context.strDeleteDBPath, context.pJobControl};
    m_pSyncDB->SetDBContext(dbContext);
    return 0;
}

int CSyncDetectFileChange::BuildSyncQueue() {
    ReleaseBuffers();
    int result = m_detectQueue.Create(kDetectQueueCapacity);
    if (result != 0) {
        return LogQueueFailure(
            WIDE("[SYNC]:[%s]:failed to init detect queue for meta folder.EC:[%d]."), result);
    }
    m_pCheckItems = new stSyncCheckQueueItem[static_cast<std::size_t>(m_nCheckItemCount)];
    for (CSyncQueue<stSyncCheckQueueItem*>* queue : {&m_checkQueue, &m_freeCheckQueue}) {
        result = queue->Create(m_nCheckItemCount);
        if (result != 0) {
            return LogQueueFailure(WIDE("[SYNC]:[%s]:failed to init item check queue.EC:[%d]."),
                                   result);
        }
    }
    for (std::int32_t i = 0; i < m_nCheckItemCount; ++i) {
        m_freeCheckQueue.Push(m_pCheckItems + i);
    }
    const auto recordBytes = static_cast<std::size_t>(m_nStoreRecordCount) * SYNC_RECORD_MAX_SIZE;
    m_pStoreRecords = new unsigned char[recordBytes];
    result = m_storeQueue.Create(m_nStoreRecordCount);
    if (result != 0) {
        return LogQueueFailure(WIDE("[SYNC]:[%s]:failed to init store list queue.EC:[%d]."),
                               result);
    }
    result = m_freeStoreQueue.Create(m_nStoreRecordCount);
    if (result != 0) {
        return LogQueueFailure(WIDE("[SYNC]:[%s]:failed to init free store list queue.EC:[%d]."),
                               result);
    }
    for (std::size_t offset = 0; offset < recordBytes; offset += SYNC_RECORD_MAX_SIZE) {
        m_freeStoreQueue.Push(reinterpret_cast<stSynFileDescOnUpload*>(m_pStoreRecords + offset));
    }
    return 0;
}

int CSyncDetectFileChange::RemoteChangedDB() {
    return m_pSyncDB != nullptr ? m_pSyncDB->RemoveChangedDB() : 0;
}
