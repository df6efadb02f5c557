#include "FailureCase.h"

namespace {

int WithTree(Bench& bench) {
    std::filesystem::create_directories(bench.folder / "tree/sub");
    WriteBytes(bench.folder / "tree/sub/a", "a");
    std::vector<stPathPair> pairs = {{WIDE("meta"), bench.folder.wide("tree") + WIDE("\\")}};
    return bench.detector.SetDetectMetaPath(pairs);
}
int InitDetector(Bench& bench) {
    stDetectFileChangeContext context{bench.base, bench.syncing, bench.deleted, {}, &bench.control};
    return bench.detector.InitFileChangeDetector(context);
}
int DetectorReady(Bench& bench) {
    return WithTree(bench) + InitDetector(bench);
}
int Generate(Bench& bench) {
    return bench.detector.GenerateSyncList();
}

TEST(Failures, OfPreparingADetector) {
    const char* const queues[] = {"detect queue for meta folder", "item check queue",
                                  "item check queue", "store list queue", "free store list queue"};
    // Of each queue the lock and both semaphores.
    const auto refused = [&](const char* function, int nthCall, int queue) {
        static std::list<std::string> faults;
        faults.push_back(function + (":" + std::to_string(nthCall)) + ":once:5");
        return FailureCase{
            WithTree, InitDetector, faults.back().c_str(), 5,
            Lines{std::string("C::BuildSyncQueue]:failed to init ") + queues[queue] + ".EC:[5].",
                  "C::InitFileChangeDetector]:failed to build sync Queue.EC:[5]."}};
    };
    std::vector<FailureCase> cases = {
        {WithTree, InitDetector, "TryNew:1:once", SYNC_EC_FAILED,
         Lines{"C::InitFileChangeDetector]:failed to allocate sync Database object."}}};
    for (int queue = 0; queue < 5; ++queue) {
        cases.push_back(refused("CreateMutexW", queue + 1, queue));
        cases.push_back(refused("CreateSemaphoreW", 2 * queue + 1, queue));
        cases.push_back(refused("CreateSemaphoreW", 2 * queue + 2, queue));
    }
    CheckFailures(cases);
}

const Lines kBuilt = {"D::BuildSearchEngine]:succeed to build memory search engine."};
const Lines kTraverse = {
    "C::TraverseFolderThreadImpl]:the traverse changed item thread started!",
    "C::TraverseFolderThreadImpl]:the traverse changed item thread will exit!"};
const Lines kCheck = {"C::CheckFileChangeThreadImpl]:the detect changed item thread started!",
                      "C::CheckFileChangeThreadImpl]:the detect changed item thread will exited!"};
const Lines kStore = {"C::StoreFileThreadImpl]:the store changed item thread started!",
                      "C::StoreFileThreadImpl]:the store changed item thread will exit!"};
const Lines kWalked = kBuilt + kTraverse + kCheck + kStore;
const Lines kDumpStarts = {"D::DumpDeleteItemList] start to detect deleted item.",
                           "D::DumpDeleteItemList] read the end of base database."};
const std::string kDumpEnd = "D::DumpDeleteItemList] end detect deleted item, the number is:[1].";

Lines ThreadRefused(const char* thread) {
    return {std::string("C::BuildSyncThread]:failed to create ") + thread + " thread.",
            "C::GenerateSyncList]:failed to build sync thread.EC:[-267714555]."};
}
Lines SearchFails(const std::string& message) {
    return kBuilt + kCheck + kStore +
           Lines{kTraverse[0], "C::TraverseSnapshotFolder]:failed to find " + message,
                 kTraverse[1]};
}

int WithoutTree(Bench& bench) {
    const int result = DetectorReady(bench);
    std::filesystem::remove_all(bench.folder / "tree");
    return result;
}

TEST(Failures, OfADetection) {
    CheckFailures({
        {DetectorReady, Generate, "CreateFileW:1:once:5", 5,
         Lines{"F::OpenDBFileForRead]:Open File:[$B] failed.EC:[5].",
               "D::InitSyncFileDB]:failed to open base db file:[$B].EC:[5].",
               "C::GenerateSyncList]:failed to initialize sync db.EC:[5]."}},
        {DetectorReady, Generate, "TryNewThread:1:once", SYNC_EC_NO_MEMORY,
         kBuilt + ThreadRefused("search file")},
        {DetectorReady, Generate, "TryNewThread:2:once", SYNC_EC_NO_MEMORY,
         kBuilt + kTraverse + ThreadRefused("check file")},
        {DetectorReady, Generate, "TryNewThread:3:once", SYNC_EC_NO_MEMORY,
         kBuilt + kTraverse + kCheck + ThreadRefused("store record")},
        {DetectorReady, Generate, "FindFirstFileW:1:once:5", 5,
         SearchFails("first:[$T\\*.*].EC:[5].")},
        {DetectorReady, Generate, "FindFirstFileW:2:once:5", 5,
         SearchFails("first:[$T\\sub\\*.*].EC:[5].")},
        {DetectorReady, Generate, "FindNextFileW:1:once:5", 5,
         SearchFails("next:[$T\\*.*].EC:[5].")},
        {DetectorReady, Generate, "FlushFileBuffers:1:once:5", 5,
         kWalked + Lines{"F::FlushDBFile]:failed to flush file. EC:[5].",
                         "D::FlushDB]:failed to flush database.EC:[5].",
                         "C::GenerateSyncList]:failed to flush db.EC:[5]."}},
        {DetectorReady, Generate, "FlushFileBuffers:2:once:5", 5,
         kWalked + kDumpStarts +
             Lines{"F::FlushDBFile]:failed to flush file. EC:[5].",
                   "D::DumpDeleteItemList]:failed to flush db file:[$D].EC:[5].", kDumpEnd,
                   "D::GenerateListofDeletedItem]:failed to dump deleteable list.EC:[5].",
                   "C::GenerateDeleteSyncList]:failed to generate deleted list.EC:[5].",
                   "C::GenerateSyncList]:failed to generate meta delete list.EC:[5]."}},
        {DetectorReady, Generate, "CloseHandle:4:once:5", 5,
         kWalked + kDumpStarts +
             Lines{kDumpEnd, "F::CloseDBFile]:failed to close file:[$S].EC:[5].",
                   "D::CloseAllDBs]:failed to close current db.EC:[5].",
                   "C::GenerateSyncList]:failed to close detect change related db.EC:[5]."}},
        // The failed close does not hide the missing folder.
        {WithoutTree, Generate, "CloseHandle:2:once:5", ERROR_PATH_NOT_FOUND,
         SearchFails("first:[$T\\*.*].EC:[3].") +
             Lines{"F::CloseDBFile]:failed to close file:[$S].EC:[5].",
                   "D::CloseAllDBs]:failed to close current db.EC:[5].",
                   "C::GenerateSyncList]:failed to close detect change related db.EC:[3]."}},
    });
}

// More files than the cache, the queues and the pools hold together, all with the longest path.
int ReadyWithManyFiles(Bench& bench) {
    const int result = DetectorReady(bench);
    std::filesystem::remove_all(bench.folder / "tree/sub");
    std::filesystem::create_directory(bench.folder / "tree/abc");
    for (int i = 10000; i < 21000; ++i) {
        WriteBytes(bench.folder / ("tree/abc/" + std::string(250, 'x') + std::to_string(i)), "");
    }
    return result;
}

// The store stage writes its full cache while the walk goes on.
TEST(Failures, OfStoringDuringTheWalk) {
    CheckFailures({{ReadyWithManyFiles, Generate, "WriteFile:1:once:112", 112,
                    kBuilt + kTraverse + kCheck +
                        Lines{kStore[0],
                              "F::AppendRecord]:write file:[$S] failed.Bytes2Write:[4193928]."
                              "EC:[112].",
                              "F::AppendRecord]:Write Item cache failed.EC:[112].",
                              "D::StoreFileRecord]:failed to write new sync record.EC:[112].",
                              "C::StoreFileThreadImpl]:failed to store new sync record.EC:[112].",
                              kStore[1]}}});
}

}  // namespace
