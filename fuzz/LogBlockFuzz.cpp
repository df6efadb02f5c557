// A damaged configuration block: answers stay bounded and terminated, and a block without its magic
// is left alone.
#include "Overwrite.h"
#include "dbglog/LogCfgShared.h"
#include "logshare/NamedLock.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"

namespace {

void Use(const WCHAR* module) {
    CLogCfgShared& config = CLogCfgShared::Instance();
    WCHAR path[kLogPathCapacity] = {};
    config.RegisterModule(module);
    config.GetModuleLevel(module);
    config.GetLogFilePath(module, path, 1);
    config.GetLogFilePath(module, path, 0);
    Require(path[kLogPathCapacity - 1] == 0, "a path is terminated");
    config.SetLogFilePath(module, path);
    config.SetLogFilePath(module, WString(600, WIDE('/')).c_str());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const WString longName(100, WIDE('n'));
    static const OwnedHandle handle(OpenSharedBlock(LogCfgBlockName(GetCurrentProcessId()),
                                                    LogCfgLocalBlockName(GetCurrentProcessId())));
    static const SharedView<LogCfgBlock> view(handle.get());
    Require(static_cast<bool>(view), "the library has made the block");
    LogCfgBlock& block = *view;
    static const LogCfgBlock fresh = block;
    static LogCfgBlock damaged;
    block = fresh;
    Overwrite(&block, sizeof block, data, size);
    damaged = block;
    for (const WCHAR* module : {WIDE(""), WIDE("First.dll"), WIDE("other.dll"), longName.c_str()}) {
        Use(module);
    }
    Require(IsLogCfgBlock(damaged) == IsLogCfgBlock(block), "magics stay as they are");
    Require(IsLogCfgBlock(damaged) || std::memcmp(&damaged, &block, sizeof block) == 0,
            "a block without its magic is not touched");
    return 0;
}

std::vector<std::string> FuzzSeeds() {
    const std::string long255(255, 'y');
    const auto fill = [&](std::size_t place) {  // a path without its end
        return Piece(place, long255) + Piece(place + 255, long255) + Piece(place + 510, long255) +
               Piece(place + 765, long255) + Piece(place + 1020, "yyyy");
    };
    const std::string name("F\0I\0R\0S\0T\0.\0d\0l\0l\0\0\0", 20);
    const std::size_t second = offsetof(LogCfgBlock, entries) + sizeof(LogCfgEntry);
    const std::string flags(8, '\xfc');
    return {Piece(0, "\1"), Piece(sizeof(LogCfgBlock) - 4, "\1"),
            fill(4) + Piece(1028, std::string(4, '\x7f')),
            Piece(second, name) + fill(second + 128) + Piece(second + 1152, flags),
            Piece(second, long255) + Piece(second + 1152, flags)};
}
