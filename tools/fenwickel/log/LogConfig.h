// The log configuration of a running process, opened as any outside tool opens it.
#pragma once

#include <functional>
#include <string>

#include "logshare/ConfigBlock.h"
#include "logshare/SharedView.h"
#include "platform/OwnedHandle.h"

// Opened by the process's id; the process needs to do nothing and may end at any time. While this
// object lives, the block exists.
class LogConfig {
public:
    // Throws Failure (Failed) when there is no such process, when it does not load the library, or
    // when the block is not one.
    explicit LogConfig(DWORD processId);

    // Works on the block under its mutex. The block may hold anything, and change also under the
    // mutex. Throws Failure (Failed) when other programs hold the mutex or the block is damaged.
    void Use(const std::function<void(LogCfgBlock&)>& work) const;

    // "process 4711"
    std::string Name() const;

private:
    DWORD m_processId;
    OwnedHandle m_mutex;
    OwnedHandle m_mapping;
    SharedView<LogCfgBlock> m_block;
};

// Understands a PID argument. Throws Failure (Usage).
DWORD ParseProcessId(const std::string& argument);

// The module's entry; the name is compared as the library compares it. Throws Failure (Failed)
// telling the names that there are.
LogCfgEntry& ModuleEntry(LogCfgBlock& block, const std::string& module);

// How many entries of the table are taken.
std::size_t ModuleCount(const LogCfgBlock& block);
