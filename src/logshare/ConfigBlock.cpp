#include "logshare/ConfigBlock.h"

#include "platform/Text.h"

namespace {

constexpr std::size_t kNameCapacity = 128;

WString NameOf(const WCHAR* format, DWORD processId) {
    WCHAR name[kNameCapacity];
    WideFormat(name, kNameCapacity, format, processId);
    return name;
}

}  // namespace

WString LogCfgMutexName(DWORD processId) {
    return NameOf(WIDE("Global\\LOGCFG_MUTEX_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%d"),
                  processId);
}

WString LogCfgBlockName(DWORD processId) {
    return NameOf(WIDE("Global\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%d"),
                  processId);
}

WString LogCfgLocalBlockName(DWORD processId) {
    return NameOf(WIDE("Local\\LOGCFG_SM_NAME_C8AAE32A-9619-4685-B766-F003823BEEE3_%d"), processId);
}

bool IsLogCfgBlock(const LogCfgBlock& block) {
    return block.dwMagic == kLogCfgMagic && block.dwEndMagic == kLogCfgMagic;
}
