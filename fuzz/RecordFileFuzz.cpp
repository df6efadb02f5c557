// A base file of foreign bytes: reading ends, records keep to their sizes, a whole run over it
// either fails or lists exactly its records as deleted, and the base stays as it is.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "FuzzTarget.h"
#include "fenwickel/SyncFileDatabase.h"
#include "platform/Platform.h"

namespace {

// The three files of a run, in the system's temporary folder under names of this process.
struct RunFiles {
    stSyncFileDbContext context;
    std::filesystem::path base = std::filesystem::temp_directory_path() /
                                 ("fenwickel-fuzz-" + std::to_string(GetCurrentProcessId()));

    RunFiles() {
        context.strBaseDBPath = base.string<WCHAR>();
        context.strSyncingDBPath = context.strBaseDBPath + WIDE(".syncing");
        context.strDeleteDBPath = context.strBaseDBPath + WIDE(".deleted");
    }
    ~RunFiles() {
        DeleteFileW(context.strBaseDBPath.c_str());
        DeleteFileW(context.strSyncingDBPath.c_str());
        DeleteFileW(context.strDeleteDBPath.c_str());
    }
};

// Adds up the sizes of a chunk's records.
std::size_t ChunkBytes(const std::vector<char>& buffer, int recordCount) {
    std::size_t offset = 0;
    for (int index = 0; index < recordCount; ++index) {
        std::uint32_t size = 0;
        std::memcpy(&size, buffer.data() + offset, sizeof(size));
        offset += size;
        Require(size >= SYNC_RECORD_FIXED_SIZE && offset <= buffer.size(), "a whole record");
    }
    return offset;
}

// The number of records that can be read, all chunks.
std::int64_t CountRecords(const WString& path, std::size_t fileSize) {
    static std::vector<char> buffer(SYNC_ITEM_CACHE_SIZE);
    CSyncDBFile file;
    std::int64_t records = 0;
    std::size_t bytes = 0;
    int count = 0;
    Require(file.OpenDBFileForRead(path) == 0, "a listing opens");
    while (file.ReadRecord(buffer.data(), SYNC_ITEM_CACHE_SIZE, count) == 0 && count > 0) {
        records += count;
        bytes += ChunkBytes(buffer, count);
        Require(bytes <= fileSize, "no more than the file holds");
    }
    return records;
}

bool ListsDeleted(stSyncFileDbContext& context) {
    CSyncFileDatabase database;
    database.SetDBContext(context);
    const bool listed = database.InitSyncFileDB() == 0 && database.FlushDB() == 0 &&
                        database.GenerateListofDeletedItem() == 0;
    return database.CloseAllDBs() == 0 && listed;
}

std::string Record(const std::u16string& path) {
    std::string bytes(SYNC_RECORD_FIXED_SIZE + 2 * path.size() + 2, '\1');
    const auto size = static_cast<std::uint32_t>(bytes.size());
    std::memcpy(bytes.data(), &size, sizeof(size));
    std::memcpy(bytes.data() + SYNC_RECORD_FIXED_SIZE, path.c_str(), 2 * path.size() + 2);
    return bytes;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static RunFiles files;
    const std::string base(data, data + size);
    std::ofstream(files.base, std::ios::binary) << base;
    const std::int64_t records = CountRecords(files.context.strBaseDBPath, size);
    if (ListsDeleted(files.context)) {
        const std::int64_t deleted = CountRecords(files.context.strDeleteDBPath, size + 512);
        Require(deleted == records, "every known file that was not seen is listed");
    }
    std::ifstream after(files.base, std::ios::binary);
    Require(base == std::string(std::istreambuf_iterator<char>(after), {}), "the base stays");
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    const std::string header(SYNC_RECORD_HEADER_SIZE, '\0');
    const std::string records = Record(u"a") + Record(u"folder\\file.txt") + Record(u"");
    return {header, header + records, header + records + records,
            header + Record(std::u16string(259, u'x')) + Record(std::u16string(260, u'x'))};
}
