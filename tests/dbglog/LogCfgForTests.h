// What a logging module of a test's own has.
#pragma once

#include <vector>

#include "dbglog/LogCfgShared.h"

// Gives up the block that this process's real module has, so that the first one here makes it anew,
// and puts it back with what was in it when the last one here has gone.
struct LogCfgForTests {
    LogCfgForTests() {
        if (real.m_pBlock != nullptr) {
            saved.assign(real.m_pBlock, real.m_pBlock + 1);
        }
        real.Close();
    }
    ~LogCfgForTests() {
        delete &config;
        if (!saved.empty()) {
            real.GetModuleLevel(WIDE(""));
            *real.m_pBlock = saved[0];
        }
    }
    LogCfgBlock& Block() { return *config.m_pBlock; }
    CLogCfgShared& real = CLogCfgShared::Instance();
    CLogCfgShared& config = *new CLogCfgShared;
    std::vector<LogCfgBlock> saved;
};
