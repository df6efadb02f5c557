#include "logshare/LogShareMemory.h"

#include <atomic>

#include "logshare/SharedText.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"
#include "platform/Text.h"

namespace {

// A larger distance between the two indices counts as damage.
constexpr std::uint64_t kLargestGap = 1U << 20;

// A block fresh from the system, all zero: makes it an empty ring.
bool MakeEmpty(HANDLE block) {
    const SharedView<LogRing> ring(block);
    if (!ring) {
        return false;
    }
    std::fill(std::begin(ring->reserved), std::end(ring->reserved), BYTE{0});
    std::fill_n(reinterpret_cast<BYTE*>(ring->slots), sizeof ring->slots, BYTE{0});
    ring->nReadIndex = kNoRingIndex;
    ring->nWriteIndex = kNoRingIndex;
    return true;
}

// Null when the block cannot be made. Called under the ring mutex, so no process sees it half made.
HANDLE MakeBlock(const WString& executable) {
    SetLastError(ERROR_SUCCESS);
    OwnedHandle block(CreateSharedBlock(RingBlockName(executable), RingLocalBlockName(executable),
                                        DWORD{sizeof(LogRing)}));
    const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    if (block && !existed && !MakeEmpty(block.get())) {
        return nullptr;
    }
    return block.release();
}

void CloseAndForget(HANDLE& handle) {
    if (handle != nullptr) {
        CloseHandle(handle);
        handle = nullptr;
    }
}

}  // namespace

CLogShareMemory::CLogShareMemory(const WString& executable) : m_strName(executable) {}

CLogShareMemory::~CLogShareMemory() {
    CLogShareMemory::CloseRing();
}

int CLogShareMemory::CreateRing() {
    m_strName = UpperCase(m_strName);
    if (m_hEvent == nullptr) {
        m_hEvent = OpenEventW(EVENT_ALL_ACCESS, FALSE, RingEventName(m_strName).c_str());
    }
    if (m_hEvent == nullptr) {
        return 0;  // no viewer watches this executable
    }
    if (m_hMutex == nullptr) {
        OpenToAll everyone;
        m_hMutex = CreateMutexW(everyone.get(), FALSE, RingMutexName(m_strName).c_str());
    }
    if (m_hMutex == nullptr) {
        return 0;
    }
    const NamedLock lock(m_hMutex, INFINITE);
    if (!lock.Owned()) {
        return 0;
    }
    if (m_hMapping == nullptr) {
        m_hMapping = MakeBlock(m_strName);
    }
    return m_hMapping != nullptr ? 1 : 0;
}

void CLogShareMemory::OpenRing() {
    m_strName = UpperCase(m_strName);
    if (m_hMutex == nullptr) {
        m_hMutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, RingMutexName(m_strName).c_str());
    }
    if (m_hMapping == nullptr) {
        m_hMapping = OpenSharedBlock(RingBlockName(m_strName), RingLocalBlockName(m_strName));
    }
}

void CLogShareMemory::CloseRing() {
    CloseAndForget(m_hEvent);
    CloseAndForget(m_hMutex);
    CloseAndForget(m_hMapping);
}

void CLogShareMemory::Write(int level, unsigned int errorCode, const WCHAR* moduleName,
                            const WCHAR* text) {
    if (*text == 0) {
        return;
    }
    LogRecord record;
    SetText(record.szProcessName, m_strName);
    SetText(record.szModuleName, moduleName != nullptr ? moduleName : WIDE(""));
    GetLocalTime(&record.time);
    record.dwErrorCode = errorCode;
    record.nLevel = level;
    record.dwProcessId = GetCurrentProcessId();
    record.dwThreadId = GetCurrentThreadId();
    SetText(record.szText, text);
    PutRecord(record);
}

// The index is counted without a sign, so that a wild one wraps instead of overflowing and the slot
// is inside the ring whatever it is.
void CLogShareMemory::PutRecord(const LogRecord& record) {
    if (record.szText[0] == 0 || m_hMutex == nullptr || m_hMapping == nullptr) {
        return;
    }
    {
        const NamedLock lock(m_hMutex, kRingWaitMs, &m_patience);
        if (!lock.Owned()) {
            return;
        }
        const SharedView<LogRing> ring(m_hMapping);
        if (!ring) {
            return;
        }
        const std::uint64_t index = static_cast<std::uint64_t>(ReadOnce(ring->nWriteIndex)) + 1;
        ring->slots[index % kRingSlots] = record;
        // After the record, so that a process killed in between leaves no index without its record.
        std::atomic_ref(ring->nWriteIndex)
            .store(static_cast<LONGLONG>(index), std::memory_order_release);
    }
    if (m_hEvent != nullptr) {
        SetEvent(m_hEvent);
    }
}

int CLogShareMemory::Read(std::list<CLogMessage*>* messages) {
    if (m_hMutex == nullptr || m_hMapping == nullptr) {
        return 0;
    }
    const NamedLock lock(m_hMutex, kRingWaitMs);
    if (!lock.Owned()) {
        return 0;
    }
    const SharedView<LogRing> ring(m_hMapping);
    if (!ring) {
        return 0;
    }
    const LONGLONG taken = ReadOnce(ring->nReadIndex);
    const LONGLONG written = ReadOnce(ring->nWriteIndex);
    if (taken < kNoRingIndex || written < 0) {
        return 0;
    }
    const std::uint64_t first = static_cast<std::uint64_t>(taken) + 1;
    const std::uint64_t end = static_cast<std::uint64_t>(written) + 1;
    if (end > first && end - first > kLargestGap) {
        return 0;
    }
    for (std::uint64_t index = first; index < end; ++index) {
        messages->push_back(new CLogMessage(ring->slots[index % kRingSlots]));
    }
    ring->nReadIndex = written;
    return 1;
}
