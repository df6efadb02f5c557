#include "LogConfig.h"

#include <charconv>
#include <chrono>

#include "logshare/NamedLock.h"
#include "logshare/SharedText.h"
#include "platform/Text.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"
#include "system/Accounts.h"
#include "system/Paths.h"
#include "system/Processes.h"

namespace {

// An abandoned mutex is sound again after one release, so the second attempt gets it.
constexpr int kAttempts = 3;

std::string NameOf(DWORD processId) {
    return "process " + std::to_string(processId);
}

// Why the objects of the process could not be opened, from the last error.
Failure OpenFailure(DWORD processId) {
    const DWORD code = GetLastError();
    const std::string process = NameOf(processId);
    if (!HostProcessRuns(processId)) {
        return {ExitCode::Failed,
                "no " + process + " runs: take the id from the system's list of processes"};
    }
    if (const std::string problem = HostObjectsProblem(); !problem.empty()) {
        return {ExitCode::Failed, process + " cannot be steered: " + problem +
                                      ": have root remove it, then restart the process"};
    }
    if (code == ERROR_FILE_NOT_FOUND) {
        return {ExitCode::Failed, process +
                                      " has no log configuration: it does not load the library, "
                                      "or belongs to another session: name one that does"};
    }
    const int result = static_cast<int>(code);
    return {ExitCode::Failed, result,
            "cannot open the log configuration of " + process + ": " + Reason(result) +
                ": run as the account of that process"};
}

Failure DamagedFailure(DWORD processId, const char* how) {
    return {ExitCode::Failed, "the log configuration of " + NameOf(processId) + " is damaged (" +
                                  how + "): restart the process"};
}

// A process that has changed its account keeps what it has opened as the first one, so root looks
// at its own objects first and then, for good, at those of the process's account.
HANDLE OpenMutexOf(DWORD processId) {
    const WString name = LogCfgMutexName(processId);
    const HANDLE mutex = OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name.c_str());
    const DWORD code = mutex == nullptr ? GetLastError() : ERROR_SUCCESS;
    const auto account = HostAccountOfProcess(processId);
    if (code == ERROR_FILE_NOT_FOUND && account && HostBecomeAccount(*account)) {
        return OpenMutexW(MUTEX_ALL_ACCESS, FALSE, name.c_str());
    }
    SetLastError(code);
    return mutex;
}

// The handle, unless it could not be opened.
OwnedHandle Opened(HANDLE handle, DWORD processId) {
    if (handle == nullptr) {
        throw OpenFailure(processId);
    }
    return OwnedHandle(handle);
}

}  // namespace

LogConfig::LogConfig(DWORD processId)
    : m_processId(processId),
      m_mutex(Opened(OpenMutexOf(processId), processId)),
      m_mapping(Opened(OpenSharedBlock(LogCfgBlockName(processId), LogCfgLocalBlockName(processId)),
                       processId)),
      m_block(m_mapping.get()) {
    if (!m_block) {
        throw DamagedFailure(processId, "it is too small");
    }
}

void LogConfig::Use(const std::function<void(LogCfgBlock&)>& work) const {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(kLogCfgWaitMs);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        const NamedLock lock(m_mutex.get(), left > 0 ? static_cast<DWORD>(left) : 0);
        if (!lock.Owned()) {
            continue;
        }
        if (!IsLogCfgBlock(*m_block)) {
            throw DamagedFailure(m_processId, "a magic number is wrong");
        }
        work(*m_block);
        return;
    }
    throw Failure(ExitCode::Failed, "the log configuration of " + Name() +
                                        " is held by another program for more than 5 seconds: "
                                        "try again");
}

std::string LogConfig::Name() const {
    return NameOf(m_processId);
}

DWORD ParseProcessId(const std::string& argument) {
    DWORD id = 0;
    const char* const end = argument.data() + argument.size();
    const auto parsed = std::from_chars(argument.data(), end, id);
    if (parsed.ec != std::errc() || parsed.ptr != end || id == 0) {
        throw Failure(ExitCode::Usage,
                      "PID \"" + Escaped(argument) + "\" is no process id: name a number");
    }
    return id;
}

std::size_t ModuleCount(const LogCfgBlock& block) {
    std::size_t count = 0;
    while (count < kLogCfgEntryCount && block.entries[count].szModuleName[0] != 0) {
        ++count;
    }
    return count;
}

LogCfgEntry& ModuleEntry(LogCfgBlock& block, const std::string& module) {
    const WString wanted = WideFromUtf8(module);
    const std::size_t count = ModuleCount(block);
    std::string names;
    for (std::size_t i = 0; i < count; ++i) {
        const WString name = TextOf(block.entries[i].szModuleName);
        if (EqualNoCase(name, wanted)) {
            return block.entries[i];
        }
        names += (names.empty() ? "" : ", ") + Escaped(HostDisplayText(name));
    }
    throw Failure(ExitCode::Failed,
                  "there is no module \"" + Escaped(module) + "\": " +
                      (names.empty() ? "no module logs there yet" : "choose from " + names));
}
