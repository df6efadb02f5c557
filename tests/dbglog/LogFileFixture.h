// A log file output whose file is in a folder of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "CapturedLog.h"
#include "TestSupport.h"
#include "dbglog/FileOutput.h"

struct ReleaseOutput {
    void operator()(IDBGLogOutput* output) const { output->Release(); }
};

class LogFileTest : public testing::Test {
protected:
    LogFileTest() {
        SetProcessLogFile(folder.wide("a.log"));
        Reopen();
    }
    ~LogFileTest() override {
        output.reset();
        NSDBG::g_logRollSize = m_rollSize;
        const OpenConfig config;
        config->nLevel = kLogLevelNone;
        SetProcessLogFile(CapturedLog::File());
    }

    void Reopen() { output.reset(new NSDBG::CFileOutput); }
    void Write(const char* text) { output->WriteLogW(1, 0, Wide(text).c_str()); }
    std::vector<std::string> Messages(const char* name) {
        const std::string text = LogText(folder / name);
        const std::size_t summaryEnd = text.rfind("=====\r\n");
        return MessagesOf(summaryEnd == std::string::npos ? text : text.substr(summaryEnd + 7));
    }

    TempFolder folder;
    std::unique_ptr<IDBGLogOutput, ReleaseOutput> output;

private:
    const DWORD m_rollSize = NSDBG::g_logRollSize;
};
