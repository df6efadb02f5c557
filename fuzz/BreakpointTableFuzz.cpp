// A damaged breakpoint table: a thread either passes or gets a hit slot that was free, and the tool
// can still use the table.
#include "Overwrite.h"
#include "dbglog/Breakpoints.h"
#include "logshare/BreakpointTable.h"
#include "logshare/SharedText.h"

namespace {

struct Table {
    BreakpointTable tool;
    std::unique_ptr<NSDBG::BreakpointHandles> handles = NSDBG::BreakpointHandles::Open();
    SharedView<LogBreakpointTable> view{handles != nullptr ? handles->hMapping : nullptr};
};

std::ptrdiff_t HitsOf(const LogBreakpointTable& table, const UUID& id) {
    return std::count_if(
        std::begin(table.hits), std::end(table.hits), [&](const LogBreakpointHit& hit) {
            return std::memcmp(&hit.hitId, &id, sizeof id) == 0 &&
                   hit.dwThreadId == GetCurrentThreadId() && !IsZero(hit.breakpointId);
        });
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Table table;
    Require(table.tool.IsOpen() && table.view, "a table can be made");
    std::memset(&*table.view, 0, sizeof(LogBreakpointTable));
    const auto own = table.tool.Add({WIDE("fuzz.exe"), WIDE("text")});
    Require(own.has_value(), "a breakpoint can be set");
    Overwrite(&*table.view, sizeof(LogBreakpointTable), data, size);
    const DWORD count = table.view->dwCount;
    const auto hit = NSDBG::EnterHit(*table.handles, WIDE("FUZZ.EXE"), WIDE("some text"));
    Require(!hit || (count != 0 && HitsOf(*table.view, *hit) == 1), "a hit has a slot");
    for (const LogBreakpointHit& fresh : table.tool.NewHits()) {
        table.tool.ReleaseHit(fresh);
    }
    table.tool.ReleaseDead();
    table.tool.ReleaseMine();
    Require(table.view->dwCount <= kBreakpointCount, "the tool puts the count right");
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    const std::string ones(255, '\1');
    const std::size_t second = offsetof(LogBreakpointTable, entries) + sizeof(LogBreakpoint);
    return {Piece(0, std::string(4, '\xff')),
            Piece(0, std::string(4, '\0')),
            Piece(20, ones),
            Piece(36, ones),
            Piece(4 + 564, ones) + Piece(4 + 44, ones),
            Piece(second, ones.substr(0, 44)) + Piece(second + 16, std::string(8, '\0')),
            Piece(offsetof(LogBreakpointTable, hits), ones)};
}
