// The processes of the machine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fenwickel/Types.h"

// The path of this program, as HostChild::Start takes it.
std::string HostOwnProgram();

// A running process.
struct HostProcess {
    std::uint32_t id = 0;
    WString name;  // file name of its executable, as the library has it; of the process itself
                   // where that is hidden
};

// All running processes that this account may see, in no order.
std::vector<HostProcess> HostProcesses();

// True while a process with the id runs (also one of another account).
bool HostProcessRuns(std::uint32_t id);
