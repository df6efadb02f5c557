#include "logshare/BreakpointTable.h"

#include <algorithm>
#include <cstring>

#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"
#include "platform/Text.h"

namespace {

constexpr DWORD kToolWaitMs = 1000;
// Hit events that are kept for threads that do not wait yet. A thread begins to wait within
// microseconds; the limit keeps a table full of invented hits from using up the named objects of
// the machine.
constexpr std::size_t kMostReleased = 256;
constexpr DWORD kMarkMagic = 0x4B425746;  // "FWBK"

// The reserved bytes of an entry: who has set it. The process id is for people; the event shows
// whether the owner lives, since another process may have got the id.
struct OwnerMark {
    DWORD dwMagic;
    DWORD dwProcessId;
    DWORD dwUnique[2];
};

static_assert(sizeof(OwnerMark) == sizeof(LogBreakpoint::reserved));

OwnerMark MarkOf(const BYTE (&reserved)[16]) {
    OwnerMark mark;
    std::memcpy(&mark, reserved, sizeof mark);
    return mark;
}

WString OwnerEventName(const OwnerMark& mark) {
    WCHAR name[64];
    WideFormat(name, 64, WIDE("Global\\FENWICKEL_LOG_BREAKER_%08X_%08X%08X"), mark.dwProcessId,
               mark.dwUnique[0], mark.dwUnique[1]);
    return name;
}

bool OwnerLives(const OwnerMark& mark) {
    const OwnedHandle event(OpenEventW(SYNCHRONIZE, FALSE, OwnerEventName(mark).c_str()));
    return event || GetLastError() == ERROR_ACCESS_DENIED;
}

bool SameId(const UUID& first, const UUID& second) {
    return std::memcmp(&first, &second, sizeof first) == 0;
}

// An order of ids for binary searches: a hostile table may be full of hits.
bool IsBefore(const UUID& first, const UUID& second) {
    return std::memcmp(&first, &second, sizeof first) < 0;
}

bool Contains(const std::vector<UUID>& sortedIds, const UUID& wanted) {
    return std::binary_search(sortedIds.begin(), sortedIds.end(), wanted, IsBefore);
}

}  // namespace

// Makes the event last: a library that finds it opens the mutex and the block at once and does not
// try again.
BreakpointTable::BreakpointTable() {
    UUID unique;
    if (UuidCreate(&unique) != 0) {
        return;
    }
    OwnerMark mark{.dwMagic = kMarkMagic, .dwProcessId = GetCurrentProcessId(), .dwUnique = {}};
    std::memcpy(mark.dwUnique, unique.Data4, sizeof mark.dwUnique);
    std::memcpy(m_mark, &mark, sizeof m_mark);
    m_alive.reset(CreateSharedEvent(OwnerEventName(mark)));
    m_block.reset(CreateSharedBlock(kBreakpointBlock, kBreakpointLocalBlock,
                                    DWORD{sizeof(LogBreakpointTable)}));
    OpenToAll everyone;
    m_mutex.reset(CreateMutexW(everyone.get(), FALSE, kBreakpointMutex));
    if (!m_alive || !m_block || !m_mutex) {
        return;
    }
    m_event.reset(CreateSharedEvent(kBreakpointEvent));
    if (m_event) {
        m_table.emplace(m_block.get());
        ReleaseDead();
    }
}

BreakpointTable::~BreakpointTable() {
    ReleaseMine();
}

// Writes the id last: until then the entry is unused.
std::optional<UUID> BreakpointTable::Add(const LogBreakpointWish& wish) {
    UUID id;
    if (!IsOpen() || wish.executable.empty() || wish.executable.size() >= kBreakpointNameCapacity ||
        wish.text.size() >= kBreakpointTextCapacity || UuidCreate(&id) != 0) {
        return std::nullopt;
    }
    const NamedLock lock(m_mutex.get(), kToolWaitMs);
    if (!lock.Owned()) {
        return std::nullopt;
    }
    LogBreakpointTable& table = **m_table;
    auto* const entry =
        std::find_if(std::begin(table.entries), std::end(table.entries),
                     [](const LogBreakpoint& candidate) { return IsZero(candidate.id); });
    if (entry == std::end(table.entries)) {
        return std::nullopt;
    }
    std::memcpy(entry->reserved, m_mark, sizeof m_mark);
    entry->dwProcessId = wish.dwProcessId;
    entry->dwThreadId = wish.dwThreadId;
    entry->dwEnabled = 1;
    SetText(entry->szProcessName, wish.executable);
    SetText(entry->szText, wish.text);
    entry->id = id;
    UpdateCount();
    return id;
}

std::vector<LogBreakpointHit> BreakpointTable::NewHits() {
    std::vector<LogBreakpointHit> fresh;
    if (!IsOpen()) {
        return fresh;
    }
    const NamedLock lock(m_mutex.get(), kToolWaitMs);
    if (!lock.Owned()) {
        return fresh;
    }
    std::vector<UUID> mine;
    for (const LogBreakpoint& entry : (*m_table)->entries) {
        if (IsMine(entry)) {
            mine.push_back(entry.id);
        }
    }
    std::sort(mine.begin(), mine.end(), IsBefore);
    std::vector<UUID> present;
    for (const LogBreakpointHit& slot : (*m_table)->hits) {
        const LogBreakpointHit hit = slot;
        if (!Contains(mine, hit.breakpointId)) {
            continue;
        }
        present.push_back(hit.hitId);
        if (!Contains(m_listed, hit.hitId)) {
            fresh.push_back(hit);
        }
    }
    std::sort(present.begin(), present.end(), IsBefore);
    m_listed = std::move(present);
    return fresh;
}

bool BreakpointTable::ReleaseHit(const LogBreakpointHit& hit) {
    if (!IsOpen()) {
        return false;
    }
    const NamedLock lock(m_mutex.get(), kToolWaitMs);
    if (!lock.Owned()) {
        return false;
    }
    auto& hits = (*m_table)->hits;
    const auto slot = std::find_if(std::begin(hits), std::end(hits), [&](const auto& candidate) {
        return SameId(candidate.breakpointId, hit.breakpointId) &&
               SameId(candidate.hitId, hit.hitId);
    });
    // The thread waits for its event only: it is released even if another process emptied its slot.
    const bool isListed = slot != std::end(hits);
    if (!Signal(hit.hitId, isListed)) {
        return !isListed;
    }
    if (isListed) {
        slot->breakpointId = UUID{};
    }
    return true;
}

void BreakpointTable::ReleaseMine() {
    if (!IsOpen()) {
        return;
    }
    const NamedLock lock(m_mutex.get(), kToolWaitMs);
    if (!lock.Owned()) {
        return;
    }
    for (LogBreakpoint& entry : (*m_table)->entries) {
        if (IsMine(entry)) {
            ReleaseEntry(entry, false);
        }
    }
    UpdateCount();
}

int BreakpointTable::ReleaseDead() {
    if (!IsOpen()) {
        return 0;
    }
    const NamedLock lock(m_mutex.get(), kToolWaitMs);
    if (!lock.Owned()) {
        return 0;
    }
    int released = 0;
    for (LogBreakpoint& entry : (*m_table)->entries) {
        const OwnerMark owner = MarkOf(entry.reserved);
        if (!IsZero(entry.id) && owner.dwMagic == kMarkMagic && !OwnerLives(owner)) {
            released += ReleaseEntry(entry, true);
        }
    }
    UpdateCount();
    return released;
}

bool BreakpointTable::Wait(DWORD milliseconds) {
    return m_event && WaitForSingleObject(m_event.get(), milliseconds) == WAIT_OBJECT_0;
}

bool BreakpointTable::IsMine(const LogBreakpoint& entry) const {
    return !IsZero(entry.id) && std::memcmp(entry.reserved, m_mark, sizeof m_mark) == 0;
}

// The library makes the event of a hit after it has left the mutex, so the event may be missing. A
// tool that stays makes it, set, and keeps it for the thread to find; a tool about to end cannot.
bool BreakpointTable::Signal(const UUID& hitId, bool weStay) {
    const WString name = HitEventName(hitId);
    OwnedHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, name.c_str()));
    if (event) {
        return SetEvent(event.get()) != FALSE;
    }
    event.reset(weStay ? CreateSharedEvent(name) : nullptr);
    if (!event || !SetEvent(event.get())) {
        return false;
    }
    m_released.push_back(std::move(event));
    if (m_released.size() > kMostReleased) {
        m_released.pop_front();
    }
    return true;
}

// Called under the breakpoint mutex, so no new hit of the entry comes meanwhile.
int BreakpointTable::ReleaseEntry(LogBreakpoint& entry, bool weStay) {
    int released = 0;
    bool complete = true;
    const UUID id = entry.id;
    for (LogBreakpointHit& slot : (*m_table)->hits) {
        if (IsZero(id) || !SameId(slot.breakpointId, id)) {
            continue;
        }
        if (Signal(slot.hitId, weStay)) {
            slot.breakpointId = UUID{};
            ++released;
        } else {
            complete = false;
        }
    }
    entry.dwEnabled = 0;
    if (complete) {
        entry = LogBreakpoint{};
    }
    return released;
}

void BreakpointTable::UpdateCount() {
    LogBreakpointTable& table = **m_table;
    DWORD count = 0;
    for (DWORD i = 0; i < kBreakpointCount; ++i) {
        if (!IsZero(table.entries[i].id)) {
            count = i + 1;
        }
    }
    table.dwCount = count;
}
