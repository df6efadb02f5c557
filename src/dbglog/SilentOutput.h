// An output that wants nothing.
#pragma once

#include "dbglog/DbgLogOutput.h"

namespace NSDBG {

// Holds the place of the live viewer's output: its threshold of 0 lets no message pass.
class CSilentOutput final : public IDBGLogOutput {
public:
    void Release() override { delete this; }
    void WriteLogA(int, unsigned int, const char*) override {}
    void WriteLogW(int, unsigned int, const WCHAR*) override {}
    int GetLogLevel() override { return 0; }
};

}  // namespace NSDBG
