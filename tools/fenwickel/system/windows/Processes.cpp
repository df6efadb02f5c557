#include "system/Processes.h"

#include "platform/OwnedHandle.h"
#include "platform/Platform.h"
#include "platform/Text.h"

// It needs the types of the main header.
#include <tlhelp32.h>

std::string HostOwnProgram() {
    std::vector<WCHAR> path(32768);
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return Utf8FromWide({path.data(), length});
}

std::vector<HostProcess> HostProcesses() {
    std::vector<HostProcess> processes;
    const HANDLE handle = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    const OwnedHandle snapshot(handle);
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    BOOL found = snapshot ? Process32FirstW(snapshot.get(), &entry) : FALSE;
    for (; found; found = Process32NextW(snapshot.get(), &entry)) {
        // Number 0 is the idle time of the processors.
        if (entry.th32ProcessID != 0) {
            processes.push_back({entry.th32ProcessID, entry.szExeFile});
        }
    }
    return processes;
}

bool HostProcessRuns(std::uint32_t id) {
    const OwnedHandle process(OpenProcess(SYNCHRONIZE, FALSE, id));
    if (!process) {
        return GetLastError() == ERROR_ACCESS_DENIED;
    }
    // One that has ended stays known for as long as a process holds a handle to it.
    return WaitForSingleObject(process.get(), 0) == WAIT_TIMEOUT;
}
