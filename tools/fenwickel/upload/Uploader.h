// What carries files to the destination: a program that is called once for the removals of a folder
// and once for its sends.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fenwickel/Types.h"
#include "system/Entries.h"

// How a list of paths is written for the program: each path relative to the folder, with '/'
// between components, in the system's own bytes (UTF-8 on Windows).
struct ListStyle {
    std::string_view prefix;  // before each path
    char separator;           // after each path
};

// What one folder has to hand over.
struct HandOver {
    WString folder;    // where to read it: inside the snapshot, with '\\' at its end
    WString place;     // its folder below the destination, "" when it is the destination itself
    WString removals;  // a file with the list of paths to remove
    std::uint64_t removalCount = 0;
    WString sends;  // a file with the list of paths to send
    std::uint64_t sendCount = 0;
    // Folders, relative and deepest first, in whose place a file will be sent. Their files are
    // among the removals.
    std::vector<std::string> replacedFolders;
};

// One thread. Calls block until the program has ended; a stop request ends it.
class Uploader {
public:
    virtual ~Uploader() = default;

    // Gives every program that is started from now on the open file as well: a lock that is held
    // until the program has ended, also when this process does not live to see that. Not owned.
    void Share(HANDLE lock) { m_shared = lock; }

    virtual ListStyle Style() const = 0;

    // Why an entry cannot be carried, as "a link", in words that follow "is" or "has"; null when it
    // can. path is relative and native, as in the lists.
    virtual const char* Obstacle(std::string_view path, HostEntry kind) const = 0;

    // Whether the destination is empty. False also where the program does not say.
    virtual bool IsDestinationEmpty() = 0;

    // Removes from the destination what the list names; what is not there counts as removed. Empty
    // lists make no call. Throws Failure (Upload, exit code 10).
    virtual void Remove(const HandOver& work) = 0;

    // Sends what the list names, whatever the destination has. Returns only when every one of them
    // has arrived, as far as the program tells. Throws Failure (Upload, exit code 10).
    virtual void Send(const HandOver& work) = 0;

protected:
    HANDLE Shared() const { return m_shared; }

private:
    HANDLE m_shared = nullptr;
};
