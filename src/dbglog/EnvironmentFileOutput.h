// Messages as UTF-8 lines in the file that an environment variable names.
#pragma once

#include <mutex>
#include <string>

#include "dbglog/DbgLogOutput.h"
#include "platform/Platform.h"

namespace NSDBG {

// Appends each message as one UTF-8 line to the file named by FENWICKEL_LOG, or drops it when the
// variable is not set. The variable is read at the first message. Several processes may append to
// one file: a line is a single write.
class CEnvironmentFileOutput final : public IDBGLogOutput {
public:
    void Release() override;
    void WriteLogA(int level, unsigned int errorCode, const char* text) override;
    void WriteLogW(int level, unsigned int errorCode, const WCHAR* text) override;
    int GetLogLevel() override;

private:
    ~CEnvironmentFileOutput();
    void Open();
    void WriteLine(std::string line);

    std::mutex m_lock;
    bool m_opened = false;                 // the variable has been read; under m_lock
    HANDLE m_file = INVALID_HANDLE_VALUE;  // owned; under m_lock
};

}  // namespace NSDBG
