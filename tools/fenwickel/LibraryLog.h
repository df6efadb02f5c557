// What the library wrote to its log in this process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fenwickel/Types.h"

// Gives the library a log file for the life of the process: the one that FENWICKEL_LOG names, which
// stays, or a temporary one, which the destructor deletes. Must exist before the library's first
// message. Without any file the run goes on and messages lack the library's words.
class LibraryLog {
public:
    LibraryLog();
    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;
    ~LibraryLog();

    // The message with which the last failure began: the library tells one failure several times,
    // from the call that met it outwards, and the first of these lines names the file. One line for
    // people; empty when there is none.
    std::string LastFailure() const;

private:
    std::vector<std::string> OwnMessages() const;

    WString m_path;
    bool m_temporary = false;
    std::uint64_t m_start = 0;  // size of the file before this process wrote to it
};
