#include <sys/types.h>
#include <unistd.h>

#include <csignal>

#include "TestSupport.h"
#include "load/LoadRoles.h"
#include "logshare/ConfigBlock.h"
#include "platform/posix/named/ObjectName.h"

bool PauseProcess(DWORD id, bool pause) {
    return kill(static_cast<pid_t>(id), pause ? SIGSTOP : SIGCONT) == 0;
}

int TracesOf(const std::set<DWORD>& dead) {
    int traces = 0;
    for (const DWORD id : dead) {
        for (const WString& name : {LogCfgMutexName(id), LogCfgBlockName(id)}) {
            ObjectName object;
            traces += !ParseObjectName(name.c_str(), &object) || access(object.path, F_OK) == 0;
        }
    }
    return traces;
}
