// What the library wrote to its log in this process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "StateFiles.h"
#include "fenwickel/Types.h"

// Gives the library a log file for the life of the process: the one that FENWICKEL_LOG names, which
// stays, or a temporary one, which the destructor deletes. Must exist before the library's first
// message. When the named file cannot be written, a warning says so and the temporary one serves.
// Without any file the run goes on and messages lack the library's words.
class LibraryLog {
public:
    // Throws Failure (Usage) when the named file is one of the state: messages would destroy it.
    explicit LibraryLog(const StateFiles& state);
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;
    ~LibraryLog();

    // Why an operation of the library failed with the code: the library's words, if there are any,
    // then the code's text.
    std::string Cause(int code) const;

private:
    // The message with which the last failure began: the library tells one failure several times,
    // from the call that met it outwards, and the first of these lines names the file. One line for
    // people; empty when there is none.
    std::string LastFailure() const;

    bool OpenNamed();
    std::vector<std::string> OwnMessages() const;

    WString m_path;
    // The named file, open so that the reader of a pipe does not see its end before the library
    // opens it; owned.
    HANDLE m_file;
    bool m_temporary = false;
    std::uint64_t m_start = 0;  // size of the file before this process wrote to it
};
