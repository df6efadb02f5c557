// What the library logs, read back from a log file of the test's own.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "logshare/ConfigBlock.h"
#include "platform/Platform.h"

// The configuration block of this process as an outside tool sees it; its mutex is held as long as
// the object lives.
class OpenConfig {
public:
    OpenConfig();
    ~OpenConfig();
    OpenConfig(const OpenConfig&) = delete;
    OpenConfig& operator=(const OpenConfig&) = delete;

    LogCfgBlock* operator->() const { return m_block; }

private:
    HANDLE m_mutex;
    HANDLE m_mapping;
    LogCfgBlock* m_block;
};

// Makes all modules of this process log into the file; gives the one that was set before.
WString SetProcessLogFile(const WString& path);

// A log file without its mark, as UTF-8, from that byte on.
std::string LogText(const std::filesystem::path& path, std::size_t start = 0);

// The messages of such a text, without headers and tails. They may hold line ends.
std::vector<std::string> MessagesOf(const std::string& text);

// The messages of this process since the object was made (or since Restart).
class CapturedLog {
public:
    CapturedLog() { Restart(); }

    // Where the messages go, unless a test sends them elsewhere.
    static WString File();

    void Restart();
    std::vector<std::string> Lines() const;

    // Whether some message holds the text.
    bool Contains(const std::string& text) const;

private:
    std::size_t m_start = 0;
};
