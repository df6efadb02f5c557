#include "load/LoadRoles.h"
#include "logshare/ConfigBlock.h"
#include "platform/OwnedHandle.h"

bool PauseProcess(DWORD, bool) {
    return false;
}

int TracesOf(const std::set<DWORD>& dead) {
    int traces = 0;
    for (const DWORD id : dead) {
        traces +=
            OwnedHandle(OpenMutexW(SYNCHRONIZE, FALSE, LogCfgMutexName(id).c_str())) != nullptr;
    }
    return traces;
}
