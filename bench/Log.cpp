// Cost of one log message on each road it can take, beside a bare write of the same bytes and
// beside spdlog's rotating file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "dbglog/DbgLogger.h"
#include "logshare/ConfigBlock.h"
#include "logshare/NamedLock.h"
#include "logshare/RingBlock.h"
#include "logshare/SharedText.h"
#include "platform/Text.h"
#include "system/Child.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

namespace fs = std::filesystem;

constexpr const WCHAR* kFormat = WIDE("[SYNC]:[%s]:failed to open file:[%s].EC:[%d].");
constexpr const WCHAR* kFunction = WIDE("CSyncDBFile::OpenDBFile");
constexpr const WCHAR* kPath = WIDE("\\srv\\meta\\folder\\listing.db");

void LogOne(int level) {
    g_DbgLogger.Log(level, kFormat, kFunction, kPath, 2);
}

// A folder for the files of all cases, on the file system of TMPDIR.
const fs::path& Folder() {
    static const fs::path folder = [] {
        std::string name = (fs::temp_directory_path() / "fenwickel-log-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            std::perror("mkdtemp");
            std::exit(1);
        }
        std::atexit([] { fs::remove_all(Folder()); });
        return fs::path(name);
    }();
    return folder;
}

// What an outside tool does to this process: its level, and its file.
void Configure(int level, const fs::path& file) {
    LogOne(2);  // the library makes its block at the first message at the latest
    const DWORD self = GetCurrentProcessId();
    const HANDLE mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, LogCfgMutexName(self).c_str());
    const HANDLE mapping = OpenSharedBlock(LogCfgBlockName(self), LogCfgLocalBlockName(self));
    void* const view = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(LogCfgBlock));
    if (view == nullptr) {
        std::fprintf(stderr, "no configuration block\n");
        std::exit(1);
    }
    {
        const NamedLock lock(mutex, kLogCfgWaitMs);
        auto* const block = static_cast<LogCfgBlock*>(view);
        block->nLevel = level;
        SetText(block->szLogFile, HostWidePath(file.string()));
    }
    UnmapViewOfFile(view);
    CloseHandle(mapping);
    CloseHandle(mutex);
}

void SuppressedMessage(benchmark::State& state) {
    for (auto _ : state) {
        LogOne(3);
    }
}
BENCHMARK(SuppressedMessage);

void FileLine(benchmark::State& state) {
    const fs::path file = Folder() / "Bench.Log";
    Configure(2, file);
    LogOne(1);
    for (auto _ : state) {
        LogOne(1);
    }
}
BENCHMARK(FileLine)->Iterations(100'000);

// The length of a line of FileLine.
std::size_t LineBytes() {
    const fs::path file = Folder() / "Line.Log";
    Configure(2, file);
    LogOne(1);
    const auto before = fs::file_size(file);
    LogOne(1);
    return fs::file_size(file) - before;
}

void BareWriteOfLine(benchmark::State& state) {
    const std::string line(LineBytes(), 'x');
    const int file = open((Folder() / "bare").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    for (auto _ : state) {
        if (write(file, line.data(), line.size()) != ssize_t(line.size())) {
            state.SkipWithError("short write");
        }
    }
    close(file);
}
BENCHMARK(BareWriteOfLine)->Iterations(100'000);

// flush: every line reaches the system before the call returns, as ours do.
void SpdlogRotatingFile(benchmark::State& state, bool flush) {
    constexpr std::size_t kMaximum = 100 << 20;
    const auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
        (Folder() / "spdlog.log").string(), kMaximum, 3);
    spdlog::logger logger("bench", sink);
    if (flush) {
        logger.flush_on(spdlog::level::info);
    }
    for (auto _ : state) {
        logger.info("[SYNC]:[{}]:failed to open file:[{}].EC:[{}].", "CSyncDBFile::OpenDBFile",
                    "\\srv\\meta\\folder\\listing.db", 2);
    }
}
BENCHMARK_CAPTURE(SpdlogRotatingFile, flushed, true)->Iterations(100'000);
BENCHMARK_CAPTURE(SpdlogRotatingFile, buffered, false)->Iterations(100'000);

void NoViewer(benchmark::State& state) {
    Configure(0, {});
    for (auto _ : state) {
        LogOne(1);
    }
}
BENCHMARK(NoViewer);

constexpr const WCHAR* kViewerReady = WIDE("Global\\FENWICKEL_LOG_BENCH_READY");

// The objects of a viewer that watches this program, in a process of its own as a viewer is. Ends
// when it is killed.
int HoldViewer() {
    const WString program = WideFromUtf8(fs::path(HostOwnProgram()).filename().string());
    OpenToAll everyone;
    const HANDLE presence = CreateEventW(everyone.get(), TRUE, FALSE, kViewerPresenceEvent);
    const HANDLE ring = CreateEventW(everyone.get(), FALSE, FALSE, RingEventName(program).c_str());
    const HANDLE ready = OpenEventW(EVENT_ALL_ACCESS, FALSE, kViewerReady);
    if (presence == nullptr || ring == nullptr || !SetEvent(ready)) {
        return 1;
    }
    return static_cast<int>(
        WaitForSingleObject(CreateEventW(nullptr, TRUE, FALSE, nullptr), INFINITE));
}

LONGLONG RecordsInRing() {
    const WString program = WideFromUtf8(fs::path(HostOwnProgram()).filename().string());
    const HANDLE block = OpenSharedBlock(RingBlockName(program), RingLocalBlockName(program));
    const void* const view = MapViewOfFile(block, FILE_MAP_READ, 0, 0, sizeof(LogRing));
    const LONGLONG records =
        view == nullptr ? 0 : static_cast<const LogRing*>(view)->nWriteIndex + 1;
    UnmapViewOfFile(view);
    CloseHandle(block);
    return records;
}

void RingWithViewer(benchmark::State& state) {
    Configure(0, {});
    OpenToAll everyone;
    const HANDLE ready = CreateEventW(everyone.get(), TRUE, FALSE, kViewerReady);
    const HostChild viewer = HostChild::Start({HostOwnProgram(), "--viewer"});
    if (WaitForSingleObject(ready, 10'000) != WAIT_OBJECT_0) {
        state.SkipWithError("no viewer");
    }
    LogOne(1);
    const LONGLONG before = RecordsInRing();
    for (auto _ : state) {
        LogOne(1);
    }
    if (RecordsInRing() - before != static_cast<LONGLONG>(state.iterations())) {
        state.SkipWithError("messages are missing from the ring");
    }
    CloseHandle(ready);
}
BENCHMARK(RingWithViewer);

// Messages that the file declines and no viewer runs, for counting system calls.
void ManyWithoutViewer(int count) {
    Configure(0, {});
    for (int done = 0; done < count; ++done) {
        LogOne(1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--without-viewer") {
        ManyWithoutViewer(std::atoi(argv[2]));
        return 0;
    }
    if (argc == 2 && std::string(argv[1]) == "--viewer") {
        return HoldViewer();
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
