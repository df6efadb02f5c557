// A damaged ring: the reader takes what its indices allow and nothing for wild ones, fields end
// where they should, and the writer stays inside.
#include "Overwrite.h"
#include "logshare/LogShareMemory.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"

namespace {

constexpr std::uint64_t kLargestGap = 1 << 20;  // of a ring that is read at all
constexpr std::uint64_t kQuickGap = 40;         // of one that is read here

struct Ring {
    WString name = WIDE("fuzz") + WString(1, WCHAR(0x100 + GetCurrentProcessId() % 0x7000));
    OwnedHandle event{CreateEventW(nullptr, FALSE, FALSE, RingEventName(name).c_str())};
    CLogShareMemory writer{name};
    CLogShareMemory reader{name};
    bool made = writer.CreateRing() != 0;
    OwnedHandle block{OpenSharedBlock(RingBlockName(name), RingLocalBlockName(name))};
    SharedView<LogRing> view{block.get()};
};

// Records that wait for the reader; more than a ring may hold for indices that none has.
std::uint64_t Gap(const LogRing& ring) {
    if (ring.nReadIndex < kNoRingIndex || ring.nWriteIndex < 0) {
        return kLargestGap + 1;
    }
    return std::uint64_t(std::max(ring.nWriteIndex, ring.nReadIndex)) -
           std::uint64_t(ring.nReadIndex);
}

void Read(Ring& ring) {
    const std::uint64_t gap = Gap(*ring.view);
    std::list<CLogMessage*> messages;
    const bool read = ring.reader.Read(&messages) != 0;
    Require(read == (gap <= kLargestGap) && messages.size() == (read ? gap : 0),
            "what the indices promise");
    for (CLogMessage* message : messages) {
        Require(message->GetProcessName().size() <= kRingNameCapacity &&
                    message->GetModuleName().size() <= kRingNameCapacity &&
                    message->GetText().size() <= kRingTextCapacity,
                "a text keeps to its field");
        Require(message->GetHeader().size() < 120 && message->Release() == 0, "a sound message");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Ring ring;
    Require(ring.made && ring.view, "a ring can be made");
    ring.reader.OpenRing();
    ring.view->nReadIndex = ring.view->nWriteIndex = kNoRingIndex;
    Overwrite(&*ring.view, sizeof(LogRing), data, size);
    if (Gap(*ring.view) > kQuickGap && Gap(*ring.view) <= kLargestGap) {
        ring.view->nReadIndex = ring.view->nWriteIndex - LONGLONG(kQuickGap);
    }
    Read(ring);
    const WString text(data, data + size);
    ring.writer.Write(1, 2, nullptr, text.c_str());
    ring.writer.Write(1, 2, text.c_str(), WIDE("text"));
    Read(ring);
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    const std::string wild = "\xff\xff\xff\xff\xff\xff\xff\x7f";
    const std::string ten("\x0a\0\0\0\0\0\0\0", 8);
    return {Piece(0, ten + std::string("\x0b\0\x10\0\0\0\0\0", 8)),
            Piece(0, ten + wild),
            Piece(0, wild + ten),
            Piece(8, wild),
            Piece(0, "\x80") + Piece(7, "\x80"),
            Piece(8, ten) + Piece(512 + 544, std::string(255, 'x')) + Piece(1040, wild + wild)};
}
