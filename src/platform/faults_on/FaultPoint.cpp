#include "platform/FaultPoint.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>

#include "platform/Platform.h"

namespace {

constexpr std::size_t kNameCapacity = 48;
constexpr std::size_t kMostFunctions = 128;
constexpr DWORD kShortTransfer = 256;  // fits into small files, too

struct Counter {
    char function[kNameCapacity];
    long long calls;
};

struct Fault {
    char function[kNameCapacity];
    long long nthCall;
    FaultMode mode;
    DWORD code;
};

// Everything here is constant-initialised and never destroyed: the layer is called before the first
// and after the last static object of this file's users.
enum State { kUnread, kIdle, kCounting };
constinit std::atomic<int> state{kUnread};
constinit std::atomic<long long> openHandles{0};
constinit std::mutex lock;
// The rest is guarded by lock.
constinit Fault fault{};
constinit bool armed = false;
constinit long long hits = 0;
constinit long long allCalls = 0;
constinit Counter counters[kMostFunctions]{};
constinit int traceFile = -1;

constinit thread_local bool shortTransfer = false;
constinit thread_local const char* scopeName = nullptr;

void CopyName(char* target, std::string_view name) {
    const std::size_t length = std::min(name.size(), kNameCapacity - 1);
    std::memcpy(target, name.data(), length);
    target[length] = '\0';
}

Counter* FindCounter(std::string_view function) {
    for (Counter& counter : counters) {
        if (counter.function[0] == '\0') {
            CopyName(counter.function, function);
        }
        if (counter.function == function.substr(0, kNameCapacity - 1)) {
            return &counter;
        }
    }
    std::abort();  // more functions than kMostFunctions: raise it
}

void ArmLocked(std::string_view function, long long nthCall, FaultMode mode, DWORD code) {
    CopyName(fault.function, function);
    fault.nthCall = nthCall;
    fault.mode = mode;
    fault.code = code;
    armed = true;
    hits = 0;
    allCalls = 0;
    for (Counter& counter : counters) {
        counter.calls = 0;
    }
    state.store(kCounting, std::memory_order_relaxed);
}

// Takes the text up to the next ':' off the front.
std::string_view NextField(std::string_view* text) {
    const std::size_t end = std::min(text->find(':'), text->size());
    const std::string_view field = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return field;
}

template <typename T>
bool ParseNumber(std::string_view text, T* number) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *number);
    return error == std::errc() && stop == end;
}

bool ParseMode(std::string_view text, FaultMode* mode) {
    constexpr struct {
        const char* text;
        FaultMode mode;
    } kModes[] = {{"once", FaultMode::Once},
                  {"always", FaultMode::FromThenOn},
                  {"short", FaultMode::Short},
                  {"kill", FaultMode::Kill}};
    for (const auto& known : kModes) {
        if (text == known.text) {
            *mode = known.mode;
            return true;
        }
    }
    return false;
}

bool ArmFromTextLocked(std::string_view text) {
    const std::string_view function = NextField(&text);
    long long nthCall = 0;
    FaultMode mode = FaultMode::Once;
    DWORD code = ERROR_GEN_FAILURE;
    if (function.empty() || !ParseNumber(NextField(&text), &nthCall) || nthCall < 1 ||
        !ParseMode(NextField(&text), &mode) || (!text.empty() && !ParseNumber(text, &code))) {
        return false;
    }
    ArmLocked(function, nthCall, mode, code);
    return true;
}

void ReadEnvironmentLocked() {
    if (state.load(std::memory_order_relaxed) != kUnread) {
        return;
    }
    state.store(kIdle, std::memory_order_relaxed);
    const char* const trace = std::getenv("FENWICKEL_FAULT_TRACE");
    if (trace != nullptr) {
        traceFile = open(trace, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
        state.store(kCounting, std::memory_order_relaxed);
    }
    const char* const text = std::getenv("FENWICKEL_FAULT");
    if (text != nullptr && !ArmFromTextLocked(text)) {
        std::abort();  // a fault that silently does not happen would make a test lie
    }
}

void TraceLocked(std::string_view function) {
    if (traceFile < 0) {
        return;
    }
    char line[kNameCapacity + 1];
    CopyName(line, function);
    const std::size_t length = std::strlen(line);
    line[length] = '\n';
    if (write(traceFile, line, length + 1) < 0) {
        std::abort();
    }
}

// Counts the call; true when the armed fault hits it.
bool HitsLocked(std::string_view function) {
    Counter* const counter = FindCounter(function);
    ++counter->calls;
    allCalls += scopeName == nullptr ? 1 : 0;
    const std::string_view wanted = fault.function;
    const bool wantsAny = wanted == "*" && scopeName == nullptr;
    if (!armed || (!wantsAny && wanted != function)) {
        return false;
    }
    const long long calls = wantsAny ? allCalls : counter->calls;
    const bool hit =
        fault.mode == FaultMode::FromThenOn ? calls >= fault.nthCall : calls == fault.nthCall;
    hits += hit ? 1 : 0;
    return hit;
}

bool CountCall(const char* plainFunction) {
    const std::lock_guard guard(lock);
    ReadEnvironmentLocked();
    shortTransfer = false;
    if (state.load(std::memory_order_relaxed) == kIdle) {
        return false;
    }
    char function[kNameCapacity];
    std::snprintf(function, kNameCapacity, "%s%s%s", scopeName != nullptr ? scopeName : "",
                  scopeName != nullptr ? "/" : "", plainFunction);
    TraceLocked(function);
    if (!HitsLocked(function)) {
        return false;
    }
    if (fault.mode == FaultMode::Kill) {
        kill(getpid(), SIGKILL);
    }
    shortTransfer = fault.mode == FaultMode::Short;
    if (!shortTransfer) {
        SetLastError(fault.code);
    }
    return !shortTransfer;
}

}  // namespace

bool FaultFails(const char* function) {
    return state.load(std::memory_order_relaxed) != kIdle && CountCall(function);
}

DWORD FaultLimit(const char*, DWORD byteCount) {
    const bool isShort = shortTransfer;
    shortTransfer = false;
    return isShort ? std::min(byteCount / 2, kShortTransfer) : byteCount;
}

FaultScope::FaultScope(const char* name) : m_outermost(scopeName == nullptr) {
    if (m_outermost) {
        scopeName = name;
    }
}

FaultScope::~FaultScope() {
    if (m_outermost) {
        scopeName = nullptr;
    }
}

void FaultArm(const char* function, long long nthCall, FaultMode mode, DWORD code) {
    const std::lock_guard guard(lock);
    ReadEnvironmentLocked();
    ArmLocked(function, nthCall, mode, code);
}

bool FaultArmFromText(const char* text) {
    const std::lock_guard guard(lock);
    ReadEnvironmentLocked();
    return ArmFromTextLocked(text);
}

long long FaultDisarm() {
    const std::lock_guard guard(lock);
    ReadEnvironmentLocked();
    armed = false;
    if (traceFile < 0) {
        state.store(kIdle, std::memory_order_relaxed);
    }
    return hits;
}

long long FaultCalls(const char* function) {
    const std::lock_guard guard(lock);
    const std::string_view name = function;
    return name == "*" ? allCalls : FindCounter(name)->calls;
}

long long FaultOpenHandles() {
    return openHandles.load(std::memory_order_relaxed);
}

void FaultHandleOpened() {
    openHandles.fetch_add(1, std::memory_order_relaxed);
}

void FaultHandleClosed() {
    openHandles.fetch_sub(1, std::memory_order_relaxed);
}

const char* FaultObjectFolder(std::size_t longest) {
    const char* const folder = std::getenv("FENWICKEL_OBJECTS");
    if (folder != nullptr &&
        (!std::string_view(folder).ends_with('/') || std::string_view(folder).size() > longest)) {
        std::abort();  // a test that silently used the usual folder would disturb other programs
    }
    return folder;
}
