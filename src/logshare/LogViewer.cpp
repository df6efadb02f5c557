#include "logshare/LogViewer.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "logshare/LogShareMemory.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedView.h"
#include "platform/Text.h"

namespace {

constexpr const WCHAR* kOwnPresence = WIDE("Global\\FENWICKEL_LOG_VIEWER");
constexpr const WCHAR* kWatcherPrefix = WIDE("Global\\FENWICKEL_LOG_WATCHER_");
constexpr DWORD kPollWaitMs = 200;
constexpr DWORD kSliceMs = 20;
constexpr DWORD kShortestSliceMs = 1;  // or many rings would keep a processor busy
constexpr LONGLONG kSlots = kRingSlots;
constexpr std::chrono::milliseconds kPresencePause{10};
constexpr int kPresenceTries = 200;

struct SharedEvent {
    OwnedHandle handle;
    bool existed;
};

SharedEvent MakeEvent(const WString& name) {
    SetLastError(ERROR_SUCCESS);
    OwnedHandle handle(CreateSharedEvent(name));
    const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    return {std::move(handle), existed};
}

// Moves the read index over records that are overwritten already and returns how many there were.
// Returns 0 after correcting indices that no writer and no reader leaves: a read index out of range
// goes back to the oldest slot, so that records are shown twice rather than lost; with a write
// index below -1 the slots say nothing and the ring starts empty. Nothing when there is no loss.
// Called under the ring mutex by the one watcher of the executable.
std::optional<std::uint64_t> SkipOverwritten(LogRing& ring) {
    const LONGLONG taken = ReadOnce(ring.nReadIndex);
    const LONGLONG written = ReadOnce(ring.nWriteIndex);
    const LONGLONG oldest = std::max(written, kSlots + kNoRingIndex) - kSlots;
    if (written < kNoRingIndex) {
        ring.nReadIndex = ring.nWriteIndex = kNoRingIndex;
        return 0;
    }
    if (taken < kNoRingIndex || taken > written) {
        ring.nReadIndex = oldest;
        return 0;
    }
    if (taken >= oldest) {
        return std::nullopt;
    }
    ring.nReadIndex = oldest;
    return static_cast<std::uint64_t>(oldest) - static_cast<std::uint64_t>(taken);
}

}  // namespace

struct LogViewer::Ring {
    explicit Ring(const WString& executable) : name(UpperCase(executable)), reader(name) {}

    WString name;         // upper case
    OwnedHandle watcher;  // exists while this executable has a watcher
    OwnedHandle event;
    // Further handles to the mutex and the block of the reader below, so that losses are counted
    // and records taken under one lock.
    OwnedHandle mutex;
    OwnedHandle block;
    CLogShareMemory reader;

    bool Open();
    void Poll(std::list<CLogMessage*>* messages, std::vector<LogLoss>* losses);
};

// The first writer makes the mutex and then the block, so they appear one after the other.
bool LogViewer::Ring::Open() {
    if (!mutex) {
        mutex.reset(OpenMutexW(MUTEX_ALL_ACCESS, FALSE, RingMutexName(name).c_str()));
    }
    if (mutex && !block) {
        block.reset(OpenSharedBlock(RingBlockName(name), RingLocalBlockName(name)));
        reader.OpenRing();
    }
    return block != nullptr;
}

void LogViewer::Ring::Poll(std::list<CLogMessage*>* messages, std::vector<LogLoss>* losses) {
    if (!Open()) {
        return;
    }
    const NamedLock lock(mutex.get(), kPollWaitMs);
    if (!lock.Owned()) {
        return;
    }
    const SharedView<LogRing> ring(block.get());
    if (!ring) {
        return;
    }
    if (const auto lost = SkipOverwritten(*ring)) {
        losses->push_back({name, *lost});
    }
    reader.Read(messages);
}

// Makes the mark first, so that a tool of this kind that finds the presence finds its mark, too.
LogViewer::LogViewer() {
    SharedEvent ours = MakeEvent(kOwnPresence);
    SharedEvent presence = MakeEvent(kViewerPresenceEvent);
    // A presence without a mark may not be that of a viewer of another kind, so test again. With
    // every message a writer opens the presence for a moment, also that of a viewer which has just
    // ended; and a tool of this kind that starts at the same moment may have made the presence
    // after this one made the mark.
    for (int tries = 0; presence.existed && !ours.existed && tries < kPresenceTries; ++tries) {
        presence.handle.reset();
        ours.handle.reset();
        std::this_thread::sleep_for(kPresencePause);
        ours = MakeEvent(kOwnPresence);
        presence = MakeEvent(kViewerPresenceEvent);
    }
    m_foreignViewer = presence.existed && !ours.existed;
    m_ours = std::move(ours.handle);
    m_presence = std::move(presence.handle);
}

LogViewer::~LogViewer() = default;

// The ring event alone does not prove a watcher, because an idle writer keeps the ring event of a
// viewer that ended long ago. It counts only beside a viewer of another kind, which makes no
// watcher event.
LogWatch LogViewer::Watch(const WString& executable) {
    if (Watches(executable)) {
        return LogWatch::Watching;
    }
    auto ring = std::make_unique<Ring>(executable);
    SharedEvent watcher = MakeEvent(kWatcherPrefix + ring->name);
    if (!watcher.handle) {
        return LogWatch::Failed;
    }
    SharedEvent event = MakeEvent(RingEventName(ring->name));
    if (!event.handle) {
        return LogWatch::Failed;
    }
    if (watcher.existed || (event.existed && m_foreignViewer)) {
        return LogWatch::Taken;
    }
    ring->watcher = std::move(watcher.handle);
    ring->event = std::move(event.handle);
    m_rings.push_back(std::move(ring));
    return LogWatch::Watching;
}

bool LogViewer::Watches(const WString& executable) const {
    return std::any_of(m_rings.begin(), m_rings.end(),
                       [name = UpperCase(executable)](const std::unique_ptr<Ring>& ring) {
                           return ring->name == name;
                       });
}

bool LogViewer::LetAttach(const WString& executable) {
    SharedEvent event = MakeEvent(RingEventName(executable));
    if (!event.handle) {
        return false;
    }
    m_attachEvents.push_back(std::move(event.handle));
    return true;
}

void LogViewer::Poll(std::list<CLogMessage*>* messages, std::vector<LogLoss>* losses) {
    for (const std::unique_ptr<Ring>& ring : m_rings) {
        ring->Poll(messages, losses);
    }
}

// One object can be waited for at a time, so the rings take turns in short slices.
bool LogViewer::Wait(DWORD milliseconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    do {
        for (const std::unique_ptr<Ring>& ring : m_rings) {
            const DWORD slice =
                std::max(kSliceMs / static_cast<DWORD>(m_rings.size()), kShortestSliceMs);
            if (WaitForSingleObject(ring->event.get(), slice) == WAIT_OBJECT_0) {
                return true;
            }
        }
        if (m_rings.empty()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(kSliceMs));
        }
    } while (Clock::now() < end);
    return false;
}
