#include <gtest/gtest.h>

#include "CapturedLog.h"
#include "Listings.h"
#include "fenwickel/SyncDBFile.h"

namespace {

constexpr int kBufferSize = 4096;

// Everything that ReadRecord gives until its end, and the code it ends with.
struct Reading {
    std::vector<Row> rows;
    int code = 0;
};

Reading ReadAll(const WString& path, int bufferSize = kBufferSize) {
    CSyncDBFile file;
    Reading reading;
    reading.code = file.OpenDBFileForRead(path);
    std::string buffer(std::size_t(bufferSize), '\0');
    for (int count = 1; reading.code == 0 && count != 0;) {
        reading.code = file.ReadRecord(buffer.data(), bufferSize, count);
        const std::vector<Row> rows = RowsOf(std::string(512, '\0') + buffer);
        EXPECT_LE(std::size_t(count), rows.size());
        reading.rows.insert(reading.rows.end(), rows.begin(), rows.begin() + count);
    }
    return reading;
}

int AppendAll(CSyncDBFile& file, const std::vector<Row>& rows) {
    int result = 0;
    for (const Row& row : rows) {
        result |= file.AppendRecord(Record(row).get());
    }
    return result;
}

TEST(RecordFile, HoldsHeaderAndRecordsToTheByte) {
    const TempFolder folder;
    const std::vector<Row> rows = {
        {.path = "dir\\a.txt", .size = 0x1000004D2U, .pathIndex = 3}, {.path = ""}, {.path = "b"}};
    CSyncDBFile file;
    ASSERT_EQ(file.OpenDBFile(folder.wide("list")), 0);
    ASSERT_EQ(AppendAll(file, rows), 0);
    EXPECT_EQ(ReadBytes(folder / "list"), "");
    ASSERT_EQ(file.FlushDBFile(), 0);
    EXPECT_EQ(file.CloseDBFile(), 0);
    const std::string bytes = ReadBytes(folder / "list");
    EXPECT_EQ(bytes, FileBytes(rows));
    EXPECT_EQ(bytes.substr(512, 58),
              std::string("\x3a\0\0\0\x03\x02\0\0\xda\x01\x78\x56\x34\x12\x01\0\0\0\xd2\x04\0\0"
                          "\x11\x11\x11\x11\0\0\xd9\x01\x22\x22\x22\x22\0\0\xd9\x01"
                          "d\0i\0r\0\\\0a\0.\0t\0x\0t\0\0\0",
                          58));
    EXPECT_EQ(ReadAll(folder.wide("list")).rows, rows);
}

TEST(RecordFile, IsNotCutWhenOpenedAgainAndCountsOn) {
    const TempFolder folder;
    std::string before = FileBytes({{.path = "old1"}, {.path = "old2"}});
    before[3] = 'r';
    before[511] = 'R';
    WriteBytes(folder / "list", before);
    CSyncDBFile file;
    ASSERT_EQ(file.OpenDBFile(folder.wide("list")), 0);
    ASSERT_EQ(AppendAll(file, {{.path = "lost"}}), 0);
    EXPECT_EQ(file.CloseDBFile(), 0);
    EXPECT_EQ(ReadBytes(folder / "list"), before);

    ASSERT_EQ(file.OpenDBFile(folder.wide("list")), 0);
    ASSERT_EQ(AppendAll(file, {{.path = "new1"}}), 0);
    unSyncRecordFileHeader other{};
    other.byRaw[0] = 'x';
    EXPECT_EQ(file.WriteHeader(other), 0);
    EXPECT_EQ(ReadBytes(folder / "list")[0], 'x');
    ASSERT_EQ(file.FlushDBFile(), 0);
    unSyncRecordFileHeader inMemory;
    EXPECT_EQ(file.GetHeader(inMemory), 0);
    EXPECT_EQ(file.CloseDBFile(), 0);
    std::string expected = FileBytes({{.path = "new1"}, {.path = "old2"}});
    expected[3] = 'r';
    expected[8] = 3;
    expected[511] = 'R';
    EXPECT_EQ(ReadBytes(folder / "list"), expected);
    EXPECT_EQ(inMemory.stFields.llRecordCount, 3);
}

TEST(RecordFile, WritesItsCacheOnlyWhenARecordDoesNotFit) {
    const Row longest{.path = std::string(259, 'p')};
    const struct {
        std::uint32_t cached;
        bool written;
    } cases[] = {{4194300, true}, {4194264, false}, {4194266, true}};
    for (const auto& c : cases) {
        const TempFolder folder;
        CSyncDBFile file;
        ASSERT_EQ(file.OpenDBFile(folder.wide("list")), 0);
        std::uint32_t left = c.cached;
        for (; left > 558 + 40; left -= 558) {
            file.AppendRecord(Record(longest).get());
        }
        const std::uint32_t half = left / 4 * 2;  // two records that make up the rest
        for (const std::uint32_t size : {half, left - half}) {
            file.AppendRecord(Record(Row{.path = std::string((size - 40) / 2, 'q')}).get());
        }
        ASSERT_EQ(file.AppendRecord(Record(Row{.path = ""}).get()), 0);
        EXPECT_EQ(std::filesystem::file_size(folder / "list"), c.written ? 512 + c.cached : 0U);
        ASSERT_EQ(file.FlushDBFile(), 0);
        EXPECT_EQ(std::filesystem::file_size(folder / "list"), 512 + c.cached + 40);
    }
}

TEST(RecordFile, ReadsRecordsThatStraddleTheBuffer) {
    const TempFolder folder;
    std::vector<Row> rows;
    for (std::size_t length = 0; length < 260; ++length) {
        rows.push_back({.path = std::string(length, 'x'), .pathIndex = int(length % 256)});
    }
    WriteBytes(folder / "list", FileBytes(rows));
    for (const int bufferSize : {558, 559, 1000, 65536}) {
        EXPECT_EQ(ReadAll(folder.wide("list"), bufferSize).rows, rows) << bufferSize;
    }
    EXPECT_TRUE(ReadAll(folder.wide("list"), 39).rows.empty());
}

TEST(RecordFile, EndsTheRecordsWhereTheFileIsCutOff) {
    const TempFolder folder;
    const std::vector<Row> rows = {{.path = "a"}, {.path = "bb"}, {.path = "ccc"}};
    const std::string whole = FileBytes(rows);
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        WriteBytes(folder / "list", whole.substr(0, size));
        const Reading reading = ReadAll(folder.wide("list"));
        const std::size_t expected = size < 554 ? 0 : size < 598 ? 1 : size < 644 ? 2 : 3;
        EXPECT_EQ(reading.code, 0) << size;
        EXPECT_EQ(reading.rows, std::vector<Row>(rows.begin(), rows.begin() + int(expected)));
    }
}

TEST(RecordFile, RefusesARecordShorterThanItsFixedPart) {
    const TempFolder folder;
    std::string bytes = FileBytes({{.path = "a"}, {.path = "b"}});
    for (const char size : {0, 1, 37}) {
        bytes[512 + 42] = size;
        WriteBytes(folder / "list", bytes);
        CapturedLog log;
        const Reading reading = ReadAll(folder.wide("list"));
        EXPECT_EQ(reading.rows, std::vector<Row>{{.path = "a"}});
        EXPECT_EQ(reading.code, SYNC_EC_FAILED);
        EXPECT_TRUE(log.Contains("list] at offset:[554], size:[" + std::to_string(size) + "]"));
    }
}

TEST(RecordFile, RefusesRecordsThatDoNotFitItsCache) {
    const TempFolder folder;
    CSyncDBFile file;
    Record record(Row{.path = "a"});
    EXPECT_EQ(file.AppendRecord(record.get()), SYNC_EC_FAILED) << "closed";
    ASSERT_EQ(file.OpenDBFile(folder.wide("list")), 0);
    for (const std::uint32_t size : {0U, 37U, SYNC_ITEM_CACHE_SIZE + 1, 0xFFFFFFFFU}) {
        record.get()->nRecordSize = size;
        EXPECT_EQ(file.AppendRecord(record.get()), SYNC_EC_FAILED) << size;
    }
    EXPECT_EQ(file.FlushDBFile(), 0);
    EXPECT_EQ(ReadBytes(folder / "list"), FileBytes({}));
}

TEST(RecordFile, ForReadingIsMadeWhenAbsent) {
    const TempFolder folder;
    CapturedLog log;
    EXPECT_EQ(ReadAll(folder.wide("new")).code, 0);
    EXPECT_EQ(ReadBytes(folder / "new"), "");
    const std::string open = "[SYNC]:[CSyncDBFile::OpenDBFileForRead]:Open File:[";
    const std::string create = "[SYNC]:[CSyncDBFile::OpenDBFileForRead]:Create File:[";
    const std::string name = Narrow(folder.wide("new"));
    EXPECT_EQ(log.Lines(), std::vector<std::string>{open + name + "] failed.EC:[2]."});
    log.Restart();
    const std::string deep = Narrow(folder.wide("no")) + "\\new";
    EXPECT_EQ(ReadAll(Wide(deep)).code, 3);
    EXPECT_EQ(log.Lines(), (std::vector<std::string>{open + deep + "] failed.EC:[3].",
                                                     create + deep + "] failed.EC:[3]."}));
}

TEST(RecordFile, IsDeletedAndRenamedByPath) {
    const TempFolder folder;
    const WString a = folder.wide("a");
    const WString b = folder.wide("b");
    const std::string prefix = "[SYNC]:[CSyncDBFile::";
    CapturedLog log;
    EXPECT_EQ(CSyncDBFile::DeleteDBFile(a), 0);
    WriteBytes(folder / "a", "A");
    WriteBytes(folder / "b", "B");
    EXPECT_EQ(CSyncDBFile::RenameDBFile(a, b), 183);
    EXPECT_EQ(ReadBytes(folder / "a") + ReadBytes(folder / "b"), "AB");
    EXPECT_EQ(CSyncDBFile::DeleteDBFile(b), 0);
    EXPECT_EQ(CSyncDBFile::RenameDBFile(a, b), 0);
    EXPECT_EQ(ReadBytes(folder / "b"), "A");
    const std::string from = "from:[" + Narrow(a) + "] to [" + Narrow(b) + "].";
    EXPECT_EQ(log.Lines(), (std::vector<std::string>{
                               prefix + "DeleteDBFile]: file [" + Narrow(a) +
                                   "] not exist, think delete operation successfully.",
                               prefix + "RenameDBFile]:failed to rename " + from + "EC:[183].",
                               prefix + "DeleteDBFile]:succeed to delete file:[" + Narrow(b) + "].",
                               prefix + "RenameDBFile]:succeed to rename " + from}));
    CSyncDBFile closed;
    log.Restart();
    EXPECT_EQ(closed.CloseDBFile(), 0);
    EXPECT_TRUE(log.Lines().empty());
}

}  // namespace
