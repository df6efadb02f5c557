// The passes of a run over a listing, through the record files. The files lie in memory, so that
// the disk does not decide.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>

#include "Listing.h"
#include "fenwickel/SyncDBFile.h"
#include "fenwickel/SyncFileDatabase.h"

namespace {

// A listing of state.range() files that a previous run left, in a folder of its own.
class PreviousListing {
public:
    explicit PreviousListing(benchmark::State& state)
        : m_state(state), m_listing(static_cast<std::size_t>(state.range())) {
        std::filesystem::remove_all(kFolder);
        std::filesystem::create_directory(kFolder);
        Check(Write() == 0, "the listing could not be written");
        m_context = {Path("base"), Path("syncing"), Path("deleted"), nullptr};
    }
    PreviousListing(const PreviousListing&) = delete;
    PreviousListing& operator=(const PreviousListing&) = delete;
    ~PreviousListing() {
        std::filesystem::remove_all(kFolder);
        m_state.SetItemsProcessed(m_state.iterations() * m_state.range());
    }

    void Check(bool good, const char* failure) {
        if (!good) {
            m_state.SkipWithError(failure);
        }
    }

    int Write() {
        CSyncDBFile file;
        int result = file.OpenDBFile(Path("base"));
        for (std::size_t at = 0; result == 0 && at < m_listing.Count(); ++at) {
            result = file.AppendRecord(m_listing.Record(at));
        }
        return result == 0 ? file.FlushDBFile() : result;
    }

    bool Load(CSyncFileDatabase& database) {
        return database.SetDBContext(m_context) == 0 && database.InitSyncFileDB() == 0;
    }

    // True when every file was known and the same.
    bool CompareEveryFile(CSyncFileDatabase& database) {
        std::size_t unchanged = 0;
        for (std::size_t at = 0; at < m_listing.Count(); ++at) {
            enSyncSearchResult found = SYNC_SEARCH_NEW;
            database.SearchUpdateFile(m_listing.Record(at), found);
            unchanged += found == SYNC_SEARCH_UNCHANGED;
        }
        return unchanged == m_listing.Count();
    }

    static WString Path(const std::string& name) {
        const std::string path = kFolder + ('/' + name);
        return WString(path.begin(), path.end());
    }

private:
    static inline const std::string kFolder = "/dev/shm/fenwickel-bench-passes";

    benchmark::State& m_state;
    Listing m_listing;
    stSyncFileDbContext m_context;
};

void WriteListing(benchmark::State& state) {
    PreviousListing previous(state);
    for (auto _ : state) {
        previous.Check(previous.Write() == 0, "the listing could not be written");
    }
}

void ReadListing(benchmark::State& state) {
    PreviousListing previous(state);
    const auto buffer = std::make_unique<char[]>(SYNC_ITEM_CACHE_SIZE);
    for (auto _ : state) {
        CSyncDBFile file;
        int result = file.OpenDBFileForRead(PreviousListing::Path("base"));
        std::int64_t records = 0;
        for (int count = 1; result == 0 && count > 0; records += count) {
            result = file.ReadRecord(buffer.get(), SYNC_ITEM_CACHE_SIZE, count);
        }
        previous.Check(records == state.range(), "records are missing");
    }
}

void LoadPreviousListing(benchmark::State& state) {
    PreviousListing previous(state);
    for (auto _ : state) {
        CSyncFileDatabase database;
        previous.Check(previous.Load(database), "the listing could not be loaded");
    }
}

void CompareUnchangedFiles(benchmark::State& state) {
    PreviousListing previous(state);
    CSyncFileDatabase database;
    previous.Check(previous.Load(database), "the listing could not be loaded");
    for (auto _ : state) {
        previous.Check(previous.CompareEveryFile(database), "a file was not found");
    }
}

void LookForDeletedFiles(benchmark::State& state) {
    PreviousListing previous(state);
    CSyncFileDatabase database;
    previous.Check(previous.Load(database) && previous.CompareEveryFile(database),
                   "the listing could not be loaded");
    for (auto _ : state) {
        previous.Check(database.GenerateListofDeletedItem() == 0, "the pass failed");
    }
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(10)->Range(10'000, 1'000'000);
}
BENCHMARK(WriteListing)->Apply(Sizes);
BENCHMARK(ReadListing)->Apply(Sizes);
BENCHMARK(LoadPreviousListing)->Apply(Sizes);
BENCHMARK(CompareUnchangedFiles)->Apply(Sizes);
BENCHMARK(LookForDeletedFiles)->Apply(Sizes);

}  // namespace
