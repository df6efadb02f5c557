#include "dbglog/SMOutput.h"

#include <optional>

#include "dbglog/CallsInProgress.h"
#include "dbglog/ProductInfo.h"
#include "logshare/RingBlock.h"

namespace NSDBG {

namespace {

constexpr int kEverything = 9999;
constexpr int kNothing = 0;
constexpr DWORD kLongestPath = 32768;
constexpr std::size_t kModuleCapacity = 260;

// Empty when the path of the executable is unknown.
WString ExecutableName() {
    WString path(kLongestPath, 0);
    path.resize(GetModuleFileNameW(nullptr, path.data(), kLongestPath));
    const std::size_t separator = path.rfind(WIDE('\\'));
    return separator == path.npos ? WString() : path.substr(separator + 1);
}

}  // namespace

// The process may end while a thread waits for the ring's mutex, which has no limit, or after the
// system has ended a thread in here. Unloading must not wait for such a thread: the system closes
// what it leaves.
void CSMOutput::Release() {
    {
        const std::unique_lock lock(m_csLock, std::try_to_lock);
        if (!lock.owns_lock()) {
            return;
        }
        m_pShareMemory.reset();
        m_pBreakpoints.reset();
    }
    if (!CallsInProgress::Any()) {
        delete this;
    }
}

void CSMOutput::BeforeFork() {
    m_csLock.lock();
}

void CSMOutput::AfterFork() {
    m_csLock.unlock();
}

void CSMOutput::WriteLogA(int level, unsigned int errorCode, const char* text) {
    WCHAR wide[kRingTextCapacity];
    if (MultiByteToWideChar(CP_ACP, 0, text, -1, wide, int{kRingTextCapacity}) == 0) {
        wide[0] = 0;
    }
    WriteLogW(level, errorCode, wide);
}

void CSMOutput::WriteLogW(int level, unsigned int errorCode, const WCHAR* text) {
    if (Attach() != 0) {
        Send(level, errorCode, text);
    }
}

int CSMOutput::GetLogLevel() {
    return ViewerRuns() ? kEverything : kNothing;
}

void CSMOutput::Reserved() {}

void CSMOutput::Detach() {
    const std::lock_guard lock(m_csLock);
    m_pShareMemory.reset();
    m_pBreakpoints.reset();
    m_bBreakpointsSought = false;
}

int CSMOutput::Attach() {
    if (IsViewerPresent() == 0 || ConnectRing() == 0) {
        Detach();
        return 0;
    }
    ConnectBreakpoints();
    return 1;
}

int CSMOutput::IsViewerPresent() {
    const std::lock_guard lock(m_csLock);
    return ViewerRuns() && LearnNames() ? 1 : 0;
}

bool CSMOutput::LearnNames() {
    if (m_strProcessName.empty()) {
        m_strProcessName = ExecutableName();
    }
    if (m_strProcessName.empty()) {
        return false;
    }
    if (m_strModuleName.empty()) {
        WCHAR name[kModuleCapacity] = {};
        LOGUTILS::GetCurrentModuleName(name, kModuleCapacity);
        m_strModuleName = name;
    }
    return true;
}

int CSMOutput::ConnectRing() {
    const std::lock_guard lock(m_csLock);
    if (m_pShareMemory == nullptr) {
        m_pShareMemory = std::make_unique<CLogShareMemory>(m_strProcessName);
        if (m_pShareMemory->CreateRing() == 0) {
            m_pShareMemory.reset();
        }
    }
    return m_pShareMemory != nullptr ? 1 : 0;
}

int CSMOutput::ConnectBreakpoints() {
    const std::lock_guard lock(m_csLock);
    if (!m_bBreakpointsSought) {
        m_bBreakpointsSought = true;
        m_pBreakpoints = BreakpointHandles::Open();
    }
    return m_pBreakpoints != nullptr ? 1 : 0;
}

void CSMOutput::Send(int level, unsigned int errorCode, const WCHAR* text) {
    std::optional<UUID> hit;
    {
        const std::lock_guard lock(m_csLock);
        // Another thread may have detached since this one attached.
        if (m_pShareMemory != nullptr) {
            m_pShareMemory->Write(level, errorCode, m_strModuleName.c_str(), text);
        }
        if (m_pBreakpoints != nullptr) {
            hit = EnterHit(*m_pBreakpoints, m_strProcessName, text);
        }
    }
    if (hit) {
        StopAtHit(*hit);
    }
}

}  // namespace NSDBG
