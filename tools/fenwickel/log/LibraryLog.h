// What the library wrote to its log in this process.
#pragma once

#include <cstdint>
#include <string>

#include "report/LibraryFailures.h"

// Gives the library a log file, fenwickel.Log in the folder, for the life of the process. Without a
// folder it is the one where this account keeps such things. It does so from outside, by way of the
// process's log configuration, so that other tools can still send the messages elsewhere. Must
// exist before the library's first message, which makes the file; no message, no file. Without a
// file the run goes on and messages lack the library's words.
class LibraryLog final : public LibraryFailures {
public:
    LibraryLog();
    explicit LibraryLog(const WString& folder);
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    Failure FailureOf(int exitCode, int code, const std::string& action,
                      const std::string& remedy) const override;

private:
    std::uint64_t m_begin;  // LogTimeKey of the time before this process's first message
};
