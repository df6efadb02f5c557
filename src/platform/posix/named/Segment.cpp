#include "platform/posix/named/Segment.h"

#include <sys/shm.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/FaultPoint.h"

namespace {

// The upper bits of every key of ours, so that a forged record never makes us remove memory of
// another program.
constexpr std::uint32_t kKeyMark = 0x46570000;
constexpr std::uint32_t kKeyRandomBits = 0xFFFF;

constexpr std::uint64_t kLargestPayload = std::uint64_t{1} << 46;

// Raised by every detaching, read by every attaching. The system may map the next segment to the
// addresses of the last one. Only the kernel knows that the other thread was done with them; this
// counter makes that order visible to the memory model, and so to race detectors.
std::atomic<unsigned> g_detached{0};

std::size_t PageSize() {
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t InPages(std::uint64_t byteCount) {
    const std::size_t page = PageSize();
    return (static_cast<std::size_t>(byteCount) + page - 1) / page * page;
}

std::size_t WholeSize(std::uint64_t payloadSize) {
    return PageSize() + InPages(payloadSize);
}

}  // namespace

Segment::Segment(Segment&& other) noexcept {
    *this = std::move(other);
}

Segment& Segment::operator=(Segment&& other) noexcept {
    std::swap(m_memory, other.m_memory);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_holdersAtFirst, other.m_holdersAtFirst);
    std::swap(m_markedAtFirst, other.m_markedAtFirst);
    std::swap(m_id, other.m_id);
    return *this;
}

Segment::~Segment() {
    Detach();
}

void* Segment::payload() const {
    return static_cast<char*>(m_memory) + PageSize();
}

std::size_t Segment::Holders() const {
    shmid_ds status;
    return shmctl(m_id, IPC_STAT, &status) == 0 ? status.shm_nattch : 0;
}

bool Segment::Make(key_t key, std::uint64_t payloadSize, mode_t mode) {
    if (payloadSize > kLargestPayload) {
        errno = ENOMEM;
        return false;
    }
    const int id =
        shmget(key, WholeSize(payloadSize), IPC_CREAT | IPC_EXCL | static_cast<int>(mode));
    if (id < 0) {
        return false;
    }
    errno = 0;
    const bool attached = !FaultFails("SharedSegment") && Attach(id);
    const bool taken = errno == EINVAL || errno == EIDRM;  // RemoveAbandonedSegment was faster
    const int error = taken ? EEXIST : ENOMEM;
    shmctl(id, IPC_RMID, nullptr);
    errno = error;
    return attached;
}

bool Segment::Attach(int id) {
    if (FaultFails("AttachSegment")) {
        errno = ENOMEM;
        return false;
    }
    void* const memory = shmat(id, nullptr, 0);
    if (memory == reinterpret_cast<void*>(-1)) {
        return false;
    }
    g_detached.load(std::memory_order_acquire);
    Detach();
    m_memory = memory;
    m_id = id;
    if (!Measure()) {
        Detach();
        errno = EINVAL;
        return false;
    }
    return true;
}

void Segment::Detach() {
    if (m_memory != nullptr) {
        g_detached.fetch_add(1, std::memory_order_release);
        shmdt(m_memory);
    }
    m_memory = nullptr;
}

// The size comes from the system: every account may write the header.
bool Segment::Measure() {
    shmid_ds status;
    if (shmctl(m_id, IPC_STAT, &status) != 0 || status.shm_segsz < PageSize()) {
        return false;
    }
    m_capacity = InPages(status.shm_segsz) - PageSize();
    m_holdersAtFirst = status.shm_nattch;
    m_markedAtFirst = (status.shm_perm.mode & SHM_DEST) != 0;
    return true;
}

key_t SegmentKey(std::uint64_t random) {
    return static_cast<key_t>(kKeyMark | (random & kKeyRandomBits));
}

void RemoveAbandonedSegment(key_t key, std::uint64_t payloadSize) {
    if ((static_cast<std::uint32_t>(key) & ~kKeyRandomBits) != kKeyMark ||
        payloadSize > kLargestPayload) {
        return;
    }
    shmid_ds status;
    const int id = shmget(key, 0, 0);
    if (id >= 0 && shmctl(id, IPC_STAT, &status) == 0 && status.shm_nattch == 0 &&
        status.shm_segsz == WholeSize(payloadSize)) {
        shmctl(id, IPC_RMID, nullptr);
    }
}
