#include "FailureCase.h"

namespace {

constexpr int kNoMemory = SYNC_EC_NO_MEMORY;
const Row kLongest{.path = std::string(259, 'x')};
constexpr int kRecordsInCache = SYNC_ITEM_CACHE_SIZE / SYNC_RECORD_MAX_SIZE;

int Nothing(Bench&) {
    return 0;
}
int SyncingListed(Bench& bench) {
    std::filesystem::copy(bench.folder / "base", bench.folder / "syncing");
    return 0;
}
int BaseMissing(Bench& bench) {
    return std::filesystem::remove(bench.folder / "base") ? 0 : 1;
}
int BaseLong(Bench& bench) {
    WriteBytes(bench.folder / "base", FileBytes(std::vector<Row>(kRecordsInCache + 2, kLongest)));
    return 0;
}

int OpenToWrite(Bench& bench) {
    return bench.file.OpenDBFile(bench.syncing);
}
int OpenToRead(Bench& bench) {
    return bench.file.OpenDBFileForRead(bench.base);
}
int Append(Bench& bench) {
    return bench.file.AppendRecord(Record(kLongest).get());
}
template <int (*Open)(Bench&), int (*Add)(Bench&), int Count>
int OpenAndAdd(Bench& bench) {
    int result = Open(bench);
    for (int i = 0; i < Count && result == 0; ++i) {
        result = Add(bench);
    }
    return result;
}
constexpr auto OneAppended = OpenAndAdd<OpenToWrite, Append, 1>;
constexpr auto CacheFull = OpenAndAdd<OpenToWrite, Append, kRecordsInCache>;

int Close(Bench& bench) {
    return bench.file.CloseDBFile();
}
int Flush(Bench& bench) {
    return bench.file.FlushDBFile();
}
int Read(Bench& bench) {
    std::vector<char> buffer(100);
    int count = 0;
    return bench.file.ReadRecord(buffer.data(), 100, count);
}
int Delete(Bench& bench) {
    return CSyncDBFile::DeleteDBFile(bench.base);
}
int Rename(Bench& bench) {
    return CSyncDBFile::RenameDBFile(bench.base, bench.syncing);
}

const Lines kCacheSeek = {"F::AppendRecord]:failed to seek:[$S] to:[512].ret:[5]."};
const Lines kHeaderSeek = {"F::WriteHeader]:failed to seek:[$S] to pos 0. ret:[5]."};
const Lines kHeaderWrite = {"F::WriteHeader]:failed to write header.EC:[5]."};
const Lines kHeaderShort = {"F::WriteHeader]:write partial header, written size:[256]."};

TEST(Failures, OfARecordFile) {
    CheckFailures({
        {Nothing, OpenToWrite, "CreateFileW:1:once:5", 5,
         Lines{"F::OpenDBFile]:open file:[$S] failed. EC:[5]."}},
        {Nothing, OpenToWrite, "GetFileSizeEx:1:once:5", 5,
         Lines{"F::OpenDBFile]:Get File size of [$S] failed.EC:[5]."}},
        {SyncingListed, OpenToWrite, "ReadFile:1:once:5", 5,
         Lines{"F::OpenDBFile]:read file header of [$S] failed.EC:[5]."}},
        {SyncingListed, OpenToWrite, "ReadFile:1:short", -1,
         Lines{"F::OpenDBFile]:read file header of [$S] failed.EC:[-1]."}},
        {Nothing, OpenToRead, "CreateFileW:1:once:5", 5,
         Lines{"F::OpenDBFileForRead]:Open File:[$B] failed.EC:[5]."}},
        {BaseMissing, OpenToRead, "CreateFileW:2:once:5", 5,
         Lines{"F::OpenDBFileForRead]:Open File:[$B] failed.EC:[2].",
               "F::OpenDBFileForRead]:Create File:[$B] failed.EC:[5]."}},
        {Nothing, OpenToRead, "GetFileSizeEx:1:once:5", 5,
         Lines{"F::OpenDBFileForRead]:failed to get file:[$B] size.EC:[5]."}},
        {Nothing, OpenToRead, "ReadFile:1:once:5", 5,
         Lines{"F::OpenDBFileForRead]:read header from:[$B] failed.EC:[5]."}},
        {Nothing, OpenToRead, "ReadFile:1:short", -1,
         Lines{"F::OpenDBFileForRead]:read partial header from:[$B] failed.EC:[-1]."}},
        {OpenToRead, Read, "SetFilePointerEx:1:once:5", 5,
         Lines{"F::ReadRecord]:seek file:[$B] to [512] failed. EC:[5]."}},
        {OpenToRead, Read, "ReadFile:1:once:5", 5,
         Lines{"F::ReadRecord]: read file:[$B] failed, toreadbytes:[100].EC:[5]."}},
        {OpenToWrite, Close, "CloseHandle:1:once:5", 5,
         Lines{"F::CloseDBFile]:failed to close file:[$S].EC:[5]."}},
        {CacheFull, Append, "SetFilePointerEx:1:once:5", 5,
         kCacheSeek + Lines{"F::AppendRecord]:Write Item cache failed.EC:[5]."}},
        {CacheFull, Append, "WriteFile:1:once:5", 5,
         Lines{"F::AppendRecord]:write file:[$S] failed.Bytes2Write:[4193928].EC:[5].",
               "F::AppendRecord]:Write Item cache failed.EC:[5]."}},
        {CacheFull, Append, "WriteFile:1:short", -1,
         Lines{"F::AppendRecord]:partial write file:[$S], towrite:[4193928], actual write:[256].",
               "F::AppendRecord]:Write Item cache failed.EC:[-1]."}},
        {OneAppended, Flush, "SetFilePointerEx:1:once:5", 5,
         kCacheSeek + Lines{"F::FlushDBFile]:Write Item cache failed.EC:[5]."}},
        {OneAppended, Flush, "SetFilePointerEx:2:once:5", 5,
         kHeaderSeek + Lines{"F::FlushDBFile]:failed to write head.EC:[5]."}},
        {OneAppended, Flush, "WriteFile:2:once:5", 5,
         kHeaderWrite + Lines{"F::FlushDBFile]:failed to write head.EC:[5]."}},
        {OneAppended, Flush, "WriteFile:2:short", -1,
         kHeaderShort + Lines{"F::FlushDBFile]:failed to write head.EC:[-1]."}},
        {OneAppended, Flush, "FlushFileBuffers:1:once:5", 5,
         Lines{"F::FlushDBFile]:failed to flush file. EC:[5]."}},
        {Nothing, Delete, "DeleteFileW:1:once:5", 5,
         Lines{"F::DeleteDBFile]:failed to delete file:[$B].EC:[5]."}},
        {Nothing, Delete, "PathFileExistsW:1:once:5", 0,
         Lines{"F::DeleteDBFile]: file [$B] not exist, think delete operation successfully."}},
        {Nothing, Rename, "MoveFileExW:1:once:5", 5,
         Lines{"F::RenameDBFile]:failed to rename from:[$B] to [$S].EC:[5]."}},
    });
}

TEST(Failures, OfTheLastCloseAreLogged) {
    const TempFolder folder;
    CSyncDBFile other;
    CapturedLog log;
    {
        CSyncDBFile file;
        ASSERT_EQ(file.OpenDBFile(folder.wide("file")), 0);
        ASSERT_EQ(file.CloseDBFile(), 0);
        ASSERT_EQ(file.OpenDBFileForRead(folder.wide("file")), 0);
        other = file;  // shares the handle, which file gives up, and closes it in the end
        FaultArm("CloseHandle", 1, FaultMode::Once, 5);
    }
    EXPECT_EQ(FaultDisarm(), 1);
    EXPECT_EQ(log.Lines(), Lines{"[SYNC]:[CSyncDBFile::~CSyncDBFile]:failed to close db file:[" +
                                 Narrow(folder.wide("file")) + "].EC:[5]."});
}

int Configured(Bench& bench) {
    stSyncFileDbContext context{bench.base, bench.syncing, bench.deleted, nullptr};
    return bench.database.SetDBContext(context);
}
int Init(Bench& bench) {
    return bench.database.InitSyncFileDB();
}
int GenerateDeleted(Bench& bench) {
    return bench.database.GenerateListofDeletedItem();
}
int Store(Bench& bench) {
    return bench.database.StoreFileRecord(Record(kLongest).get());
}
int FlushDb(Bench& bench) {
    return bench.database.FlushDB();
}
int Commit(Bench& bench) {
    return bench.database.TakeEffectNewSyncDB();
}
int Discard(Bench& bench) {
    return bench.database.RemoveChangedDB();
}
int CloseAll(Bench& bench) {
    return bench.database.CloseAllDBs();
}

int Ready(Bench& bench) {
    return Configured(bench) + Init(bench);
}
int ReadyWithLongBase(Bench& bench) {
    return BaseLong(bench) + Ready(bench);
}
int LeftoverConfigured(Bench& bench) {
    return SyncingListed(bench) + Configured(bench);
}
int PendingConfigured(Bench& bench) {
    std::filesystem::copy(bench.folder / "base", bench.folder / "deleted");
    return LeftoverConfigured(bench);
}
int DamagedConfigured(Bench& bench) {
    std::string bytes = FileBytes({{.path = "gone"}});
    bytes[512] = 4;
    WriteBytes(bench.folder / "base", bytes);
    return Configured(bench);
}
constexpr auto ReadyAndFull = OpenAndAdd<Ready, Store, kRecordsInCache>;

// The given step, made to leave every file open that it should close.
template <int (*Before)(Bench&), int (*Step)(Bench&)>
int Unclosed(Bench& bench) {
    const int prepared = Before(bench);
    FaultArm("CloseHandle", 1, FaultMode::FromThenOn, 6);
    const int result = Step(bench);
    FaultDisarm();
    return prepared != 0 ? prepared : result - 6;
}
constexpr auto BaseOpen = Unclosed<Configured, Init>;
constexpr auto AllOpen = Unclosed<Ready, GenerateDeleted>;

const std::string kInitFailed = "D::InitSyncFileDB]:failed to build memory search engine.EC:";
const Lines kBaseClose = {"F::CloseDBFile]:failed to close file:[$B].EC:[5].",
                          "D::BuildSearchEngine]:failed to close base db.EC:[5]."};

TEST(Failures, OfStartingARun) {
    CheckFailures({
        {Configured, Init, "CreateFileW:1:once:5", 5,
         Lines{"F::OpenDBFileForRead]:Open File:[$B] failed.EC:[5].",
               "D::InitSyncFileDB]:failed to open base db file:[$B].EC:[5]."}},
        {Configured, Init, "CreateFileW:2:once:5", 5,
         Lines{"F::OpenDBFile]:open file:[$S] failed. EC:[5].",
               "D::InitSyncFileDB]:failed to open syncing db file:[$S].EC:[5]."}},
        {LeftoverConfigured, Init, "SetEndOfFile:1:once:5", 5,
         Lines{"F::CutToHeader]:failed to cut file:[$S] back to its header.EC:[5].",
               "D::InitSyncFileDB]:failed to drop the records of an earlier run.EC:[5]."}},
        {Configured, Init, "PathFileExistsW:1:once:5", 5,
         Lines{"D::CutLeftovers]:failed to look for file:[$D].EC:[5].",
               "D::InitSyncFileDB]:failed to drop the records of an earlier run.EC:[5]."}},
        {Configured, Init, "TryNewArray:1:once", kNoMemory,
         Lines{"D::BuildSearchEngine]:failed to allocate memory.", kInitFailed + "[-267714555]."}},
        {Configured, Init, "ReadFile:2:once:5", 5,
         Lines{"F::ReadRecord]: read file:[$B] failed, toreadbytes:[4194304].EC:[5].",
               "D::BuildSearchEngine]:failed to read record.EC:[5].", kInitFailed + "[5]."}},
        {Configured, Init, "SetFilePointerEx:2:once:5", 5,
         Lines{"F::ReadRecord]:seek file:[$B] to [560] failed. EC:[5].",
               "D::BuildSearchEngine]:failed to read record from base1.EC:[5].",
               "D::BuildSearchEngine]:failed to build memory search engine.EC:[5].",
               kInitFailed + "[5]."}},
        {Configured, Init, "GetFileSizeEx:5:once:5", 5,
         Lines{"F::RequireEndOfRecords]:failed to get file:[$B] size.EC:[5].",
               "D::BuildSearchEngine]:failed to read record from base1.EC:[5].",
               "D::BuildSearchEngine]:failed to build memory search engine.EC:[5].",
               kInitFailed + "[5]."}},
        {BaseOpen, Init, "CloseHandle:1:once:5", 5,
         Lines{"F::CloseDBFile]:failed to close file:[$B].EC:[5].",
               "D::CloseAllDBs]:failed to close base db.EC:[5].",
               "D::InitSyncFileDB]:failed to close the files of an earlier run.EC:[5]."}},
        {Configured, Init, "CloseHandle:1:once:5", 5,
         Lines{"D::BuildSearchEngine]:succeed to build memory search engine."} + kBaseClose +
             Lines{kInitFailed + "[5]."}},
        {DamagedConfigured, Init, "CloseHandle:1:once:5", -1,
         Lines{"F::ReadRecord]:damaged record in file:[$B] at offset:[512], size:[4].EC:[-1].",
               "D::BuildSearchEngine]:failed to read record.EC:[-1]."} +
             kBaseClose + Lines{kInitFailed + "[-1]."}},
        {ReadyAndFull, Store, "WriteFile:1:once:112", 112,
         Lines{"F::AppendRecord]:write file:[$S] failed.Bytes2Write:[4193928].EC:[112].",
               "F::AppendRecord]:Write Item cache failed.EC:[112].",
               "D::StoreFileRecord]:failed to write new sync record.EC:[112]."}},
        {Ready, FlushDb, "FlushFileBuffers:1:once:5", 5,
         Lines{"F::FlushDBFile]:failed to flush file. EC:[5].",
               "D::FlushDB]:failed to flush database.EC:[5]."}},
    });
}

const std::string kGenerate = "D::GenerateListofDeletedItem]:";
const Lines kStart = {"D::DumpDeleteItemList] start to detect deleted item."};
const Lines kReadAll = kStart + Lines{"D::DumpDeleteItemList] read the end of base database."};

Lines DumpEnds(const std::string& count, const std::string& code) {
    return {"D::DumpDeleteItemList] end detect deleted item, the number is:[" + count + "].",
            kGenerate + "failed to dump deleteable list.EC:[" + code + "]."};
}
Lines DeletedCloseFails(const std::string& whose) {
    return {"F::CloseDBFile]:failed to close file:[$D].EC:[5].", whose};
}
const Lines kBaseCloseAtEnd = {"F::CloseDBFile]:failed to close file:[$B].EC:[5].",
                               kGenerate + "failed to close base database.EC:[5]."};
const Lines kDumped =
    kReadAll + Lines{"D::DumpDeleteItemList] end detect deleted item, the number is:[1]."};
const Lines kDumpCloses = kDumped +
                          DeletedCloseFails(
                              "D::DumpDeleteItemList]:failed to close new-generated item "
                              "deleted database.EC:[5].") +
                          Lines{kGenerate + "failed to dump deleteable list.EC:[5]."};

TEST(Failures, OfTheDeletedItemList) {
    CheckFailures({
        {BaseOpen, GenerateDeleted, "CloseHandle:1:once:5", 5,
         Lines{"F::CloseDBFile]:failed to close file:[$B].EC:[5].",
               kGenerate + "failed to close previous changed db file.EC:[5]."}},
        {Ready, GenerateDeleted, "CreateFileW:1:once:5", 5,
         Lines{"F::OpenDBFileForRead]:Open File:[$B] failed.EC:[5].",
               kGenerate + "failed to open previous changed db file.EC:[5]."}},
        {Ready, GenerateDeleted, "CreateFileW:2:once:5", 5,
         Lines{"F::OpenDBFile]:open file:[$D] failed. EC:[5].",
               kGenerate + "failed to open meta delete list DB. EC:[5]."}},
        {Ready, GenerateDeleted, "TryNewArray:1:once", kNoMemory,
         kStart + Lines{"D::DumpDeleteItemList]:failed to allocate the buffer."} +
             DumpEnds("0", "-267714555")},
        {Ready, GenerateDeleted, "ReadFile:3:once:5", 5,
         kStart +
             Lines{"F::ReadRecord]: read file:[$B] failed, toreadbytes:[4194304].EC:[5].",
                   "D::DumpDeleteItemList] failed to read from base database.EC:[5]."} +
             DumpEnds("1", "5")},
        {ReadyWithLongBase, GenerateDeleted, "WriteFile:1:once:5", 5,
         kStart +
             Lines{"F::AppendRecord]:write file:[$D] failed.Bytes2Write:[4193928].EC:[5].",
                   "F::AppendRecord]:Write Item cache failed.EC:[5].",
                   "D::DumpDeleteItemList]:failed to append deleted entry into:[$D].EC:[5]."} +
             DumpEnds("7517", "5")},
        {Ready, GenerateDeleted, "FlushFileBuffers:1:once:5", 5,
         kReadAll +
             Lines{"F::FlushDBFile]:failed to flush file. EC:[5].",
                   "D::DumpDeleteItemList]:failed to flush db file:[$D].EC:[5]."} +
             DumpEnds("1", "5")},
        {Ready, GenerateDeleted, "CloseHandle:1:once:5", 5, kDumpCloses},
        {Ready, GenerateDeleted, "CloseHandle:2:once:5", 5, kDumped + kBaseCloseAtEnd},
        {Ready, GenerateDeleted, "CloseHandle:1:always:5", 5,
         kDumpCloses + kBaseCloseAtEnd +
             DeletedCloseFails(kGenerate + "failed to close item deleted database.EC:[5].")},
    });
}

const Lines kClosesOfAll[] = {{"F::CloseDBFile]:failed to close file:[$B].EC:[5].",
                               "D::CloseAllDBs]:failed to close base db.EC:[5]."},
                              Lines{"F::CloseDBFile]:failed to close file:[$S].EC:[5].",
                                    "D::CloseAllDBs]:failed to close current db.EC:[5]."},
                              Lines{"F::CloseDBFile]:failed to close file:[$D].EC:[5].",
                                    "D::CloseAllDBs]:failed to close delete db.EC:[5]."}};

TEST(Failures, OfEndingARun) {
    CheckFailures({
        {BaseOpen, Commit, "CloseHandle:1:once:5", 5,
         Lines{"F::CloseDBFile]:failed to close file:[$B].EC:[5].",
               "D::TakeEffectNewSyncDB]:close the old db file failed."}},
        {Ready, Commit, "CloseHandle:1:once:5", 5,
         Lines{"F::CloseDBFile]:failed to close file:[$S].EC:[5].",
               "D::TakeEffectNewSyncDB]:close the new db file failed."}},
        {PendingConfigured, Commit, "PathFileExistsW:1:once:5", 0,
         Lines{"D::TakeEffectNewSyncDB]:file:[$S] is not exist."}},
        {PendingConfigured, Commit, "DeleteFileW:1:once:5", 5,
         Lines{"F::DeleteDBFile]:failed to delete file:[$B].EC:[5].",
               "D::TakeEffectNewSyncDB]:failed to delete file:[$B].EC:[5]."}},
        {PendingConfigured, Commit, "MoveFileExW:1:once:5", 5,
         Lines{"F::DeleteDBFile]:succeed to delete file:[$B].",
               "F::RenameDBFile]:failed to rename from:[$S] to [$B].EC:[5].",
               "D::TakeEffectNewSyncDB]:failed to rename the replace the old DB.EC:[5]."}},
        {PendingConfigured, Discard, "DeleteFileW:1:once:5", 5,
         Lines{"F::DeleteDBFile]:failed to delete file:[$S].EC:[5].",
               "D::RemoveChangedDB]:failed to delete db:[$S].EC:[5]."}},
        {PendingConfigured, Discard, "DeleteFileW:2:once:5", 5,
         Lines{"F::DeleteDBFile]:succeed to delete file:[$S].",
               "F::DeleteDBFile]:failed to delete file:[$D].EC:[5].",
               "D::RemoveChangedDB]:failed to delete db(del):[$D].EC:[5]."}},
        // A file that could not be closed is still in use.
        {Ready, Discard, "CloseHandle:1:once:5", ERROR_SHARING_VIOLATION,
         Lines{"F::CloseDBFile]:failed to close file:[$S].EC:[5].",
               "F::DeleteDBFile]:failed to delete file:[$S].EC:[32].",
               "D::RemoveChangedDB]:failed to delete db:[$S].EC:[32]."}},
        {AllOpen, CloseAll, "CloseHandle:1:once:5", 5, kClosesOfAll[0]},
        {AllOpen, CloseAll, "CloseHandle:2:once:5", 5, kClosesOfAll[1]},
        {AllOpen, CloseAll, "CloseHandle:1:always:5", 5,
         kClosesOfAll[0] + kClosesOfAll[1] + kClosesOfAll[2]},
    });
}

}  // namespace
