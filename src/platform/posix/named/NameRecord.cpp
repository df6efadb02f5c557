#include "platform/posix/named/NameRecord.h"

#include <sys/random.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

namespace {

constexpr char kMagic[8] = {'F', 'e', 'n', 'w', 'i', 'c', 'k', '1'};
constexpr int kMostKeys = 16;

std::uint64_t ChecksumOf(const NameRecord& record) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&record);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < offsetof(NameRecord, checksum); i += sizeof sum) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        sum = (sum ^ word) * 0x9E3779B97F4A7C15U;
        sum ^= sum >> 32;
    }
    return sum;
}
static_assert(offsetof(NameRecord, checksum) % sizeof(std::uint64_t) == 0);

// A limit on the size of files must not end a process that only loads the library.
class FileLimitSignalHeld {
public:
    FileLimitSignalHeld() {
        sigemptyset(&m_signal);
        sigaddset(&m_signal, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &m_signal, &m_before);
    }
    ~FileLimitSignalHeld() {
        const int error = errno;
        constexpr timespec kAtOnce{};
        sigtimedwait(&m_signal, nullptr, &kAtOnce);
        pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
        errno = error;
    }
    FileLimitSignalHeld(const FileLimitSignalHeld&) = delete;
    FileLimitSignalHeld& operator=(const FileLimitSignalHeld&) = delete;

private:
    sigset_t m_signal;
    sigset_t m_before;
};

bool WriteNameRecord(int file, NameRecord* record) {
    record->checksum = ChecksumOf(*record);
    const FileLimitSignalHeld held;
    const auto written = Uninterrupted([&] { return pwrite(file, record, sizeof *record, 0); });
    if (written >= 0 && written != sizeof *record) {
        errno = ENOSPC;
    }
    return written == sizeof *record && ftruncate(file, sizeof *record) == 0;
}

NameRecord NewRecord(const ObjectName& name, const NewObject& wanted) {
    NameRecord record{};
    std::memcpy(record.magic, kMagic, sizeof kMagic);
    record.size = wanted.size;
    record.ipcNamespace = name.ipcNamespace;
    record.kind = static_cast<std::uint32_t>(wanted.kind);
    record.manualReset = wanted.manualReset ? 1 : 0;
    record.account = name.account;
    record.local = name.local ? 1 : 0;
    name.text.copy(record.name, name.text.size());
    return record;
}

// The key goes into the file first: if this process is killed in between, the next sweep finds the
// memory by it.
bool MakeSegment(int file, NameRecord* record, mode_t mode, Segment* segment) {
    for (int attempt = 0; attempt < kMostKeys; ++attempt) {
        std::uint64_t random = 0;
        if (!MakeRandom(&random) || !MakeRandom(&record->nonce)) {
            return false;
        }
        record->segmentKey = SegmentKey(random);
        record->segmentId = -1;
        if (!WriteNameRecord(file, record)) {
            return false;
        }
        if (segment->Make(record->segmentKey, record->size, mode)) {
            return true;
        }
        if (errno != EEXIST) {
            return false;
        }
    }
    return false;
}

}  // namespace

bool MakeRandom(std::uint64_t* number) {
    return Uninterrupted([&] { return getrandom(number, sizeof *number, GRND_NONBLOCK); }) ==
           sizeof *number;
}

bool ReadNameRecord(int file, NameRecord* record) {
    const auto count = Uninterrupted([&] { return pread(file, record, sizeof *record, 0); });
    if (count != sizeof *record || std::memcmp(record->magic, kMagic, sizeof kMagic) != 0) {
        return false;
    }
    if (record->checksum != ChecksumOf(*record)) {
        record->segmentId = -1;
    }
    return true;
}

bool IsRecordOf(const NameRecord& record, const ObjectName& name) {
    const std::basic_string_view<WCHAR> stored(record.name, kObjectNameCapacity);
    return stored.substr(0, stored.find(WCHAR{0})) == name.text &&
           record.local == (name.local ? 1U : 0U) && record.account == name.account &&
           record.ipcNamespace == name.ipcNamespace;
}

SegmentState FindSegment(const NameRecord& record, Segment* segment) {
    Segment found;
    if (record.segmentId < 0) {
        return SegmentState::Gone;
    }
    if (!found.Attach(record.segmentId)) {
        return errno == EINVAL || errno == EIDRM ? SegmentState::Gone : SegmentState::Unknown;
    }
    const SegmentHeader& header = *found.header();
    if (header.nonce != record.nonce || header.size != record.size || header.kind != record.kind ||
        header.manualReset != record.manualReset || record.size > found.Capacity() ||
        !found.MarkedAtFirst() || found.HoldersAtFirst() < 2) {
        return SegmentState::Gone;
    }
    *segment = std::move(found);
    return SegmentState::Found;
}

bool FillNameFile(int file, const ObjectName& name, const NewObject& wanted, Segment* segment) {
    NameRecord record = NewRecord(name, wanted);
    Segment made;
    if (!MakeSegment(file, &record, wanted.rights, &made)) {
        return false;
    }
    SegmentHeader* const header = made.header();
    header->nonce = record.nonce;
    header->size = record.size;
    header->kind = record.kind;
    header->manualReset = record.manualReset;
    const bool set = wanted.kind == NamedKind::Event && wanted.initial;
    header->word.store(set ? 1 : 0);
    record.segmentId = made.id();
    if (!WriteNameRecord(file, &record)) {
        return false;
    }
    *segment = std::move(made);
    return true;
}
