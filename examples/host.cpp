// A complete host: counts what changed in FOLDER since the last run, then commits the run.
//
//     host FOLDER STATE_FOLDER

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "fenwickel/SyncDetectFileChange.h"

namespace {

// Keeps the first error; never stops a run.
class Control final : public ISyncJobControl {
public:
    bool IsStopRequested() override { return false; }
    int GetErrorCode() override { return m_error; }
    void SetErrorCode(int errorCode) override {
        int none = 0;
        m_error.compare_exchange_strong(none, errorCode);
    }
    bool ForceAllChanged() override { return false; }

private:
    std::atomic<int> m_error = 0;
};

// Counts the records of a list by their status.
int CountRecords(const WString& path, int (&counts)[9]) {
    CSyncDBFile file;
    int result = file.OpenDBFileForRead(path);
    std::vector<char> buffer(SYNC_ITEM_CACHE_SIZE);
    for (int records = 1; result == 0 && records > 0;) {
        result = file.ReadRecord(buffer.data(), static_cast<int>(buffer.size()), records);
        const char* next = buffer.data();
        for (int i = 0; i < records; ++i) {
            stSynFileDescOnUpload record;
            std::memcpy(&record, next, sizeof record);
            counts[record.bySyncStatus <= SYNC_ITEM_UNCHANGED ? record.bySyncStatus : 0]++;
            next += record.nRecordSize;
        }
    }
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: host FOLDER STATE_FOLDER\n");
        return 2;
    }
    const std::filesystem::path state = std::filesystem::absolute(argv[2]);
    const WString folder = std::filesystem::absolute(argv[1]).string<WCHAR>();
    Control control;
    stDetectFileChangeContext context;
    context.strBaseDBPath = (state / "base").string<WCHAR>();
    context.strSyncingDBPath = (state / "syncing").string<WCHAR>();
    context.strDeleteDBPath = (state / "deleted").string<WCHAR>();
    context.pJobControl = &control;

    // A snapshot would make the two paths differ; this host walks the folder itself.
    std::vector<stPathPair> pairs = {{folder, folder + WIDE("\\")}};
    CSyncDetectFileChange detector;
    detector.SetDetectMetaPath(pairs);
    int result = detector.InitFileChangeDetector(context);
    if (result == 0) {
        // Deletes what a killed run may have left. But a syncing file without a base is what an
        // interrupted commit leaves, between its two steps: it is the only listing then.
        if (std::filesystem::exists(state / "base")) {
            detector.RemoteChangedDB();
        } else if (std::filesystem::exists(state / "syncing")) {
            std::fprintf(stderr, "host: the last commit was interrupted: finish it first\n");
            return 1;
        }
        result = detector.GenerateSyncList();
    }
    int counts[9] = {};
    result = result != 0 ? result : CountRecords(context.strSyncingDBPath, counts);
    result = result != 0 ? result : CountRecords(context.strDeleteDBPath, counts);
    if (result != 0) {
        std::fprintf(stderr, "host: the run failed with code %d; the last listing stays\n", result);
        detector.RemoteChangedDB();
        return 1;
    }
    std::printf("new %d, changed %d, unchanged %d, deleted %d\n", counts[SYNC_ITEM_NEW],
                counts[SYNC_ITEM_CHANGED], counts[SYNC_ITEM_UNCHANGED], counts[SYNC_ITEM_DELETED]);

    // A real host sends the new and changed files here and removes the deleted ones, then commits.
    CSyncFileDatabase database;
    stSyncFileDbContext files{context.strBaseDBPath, context.strSyncingDBPath,
                              context.strDeleteDBPath, &control};
    database.SetDBContext(files);
    return database.TakeEffectNewSyncDB() == 0 ? 0 : 1;
}
