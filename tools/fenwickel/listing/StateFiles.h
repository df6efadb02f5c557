// The three record files of a synchronisation and the lock beside them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "fenwickel/SyncFileDatabase.h"
#include "platform/OwnedHandle.h"
#include "report/Failure.h"

// The options --base, --syncing and --deleted as the user gave them.
struct StateArguments {
    std::string base;
    std::string syncing;
    std::string deleted;
};

// Where the files lie, in the library's form.
struct StateFiles {
    WString base;
    WString syncing;
    WString deleted;
    WString lock;  // base with ".lock"
    // Whether they were named by one folder, and messages have no options to call them by.
    bool inOneFolder = false;
};

// One path of the state with what messages call it.
struct StateRole {
    const char* name;
    const WString& path;
};

// A path argument in the library's form. Throws Failure (Usage) when it is
// empty or the working folder, which it needs, is gone.
WString PathArgument(const std::string& name, const std::string& argument);

// For a path that should be a folder and is none: `cannot ACTION "PATH": WHY: REMEDY`.
Failure NotAFolder(const std::string& action, const WString& path, const char* remedy);

// The options again, quoted for a shell, for a command that the user may repeat.
std::string StateOptionsText(const StateArguments& arguments);

// Throws Failure when two roles mean one file or a path names a folder (Usage).
void RequireOwnFiles(const StateFiles& state);

// Turns the arguments into paths. Throws Failure when two roles mean one file or a path names a
// folder (Usage), or when the folder of a file is missing (Failed). Touches nothing.
StateFiles ResolveState(const StateArguments& arguments);

// The commit renames, which works within one file system only, and it deletes the base first.
// Throws Failure (Usage) when base and syncing lie on two.
void RequireOneFileSystem(const StateFiles& state);

// Base, syncing, deleted, lock. The names live for the process.
std::vector<StateRole> Roles(const StateFiles& state);

// True when the path names nothing. False also when the system does not say, so that no
// file is taken for absent whose folder just could not be read.
bool IsGone(const WString& path);

// Who holds the lock of the state: "process 4242", or other words where its id is not known;
// nothing when the lock is free. Does not take the lock, except for a moment when a killed run's
// process id stands in it.
std::optional<std::string> StateHolder(const StateFiles& state);

// What the library's database set wants to know, without a control object.
stSyncFileDbContext DatabaseContext(const StateFiles& state);

// Holds the lock file of a state from construction to destruction. The file stays on disk, empty:
// deleting it could take it from under a process that has just opened it.
class StateLock {
public:
    // Throws Failure: Held, naming the holder's process id, or Failed.
    explicit StateLock(const StateFiles& state);
    StateLock(const StateLock&) = delete;
    StateLock& operator=(const StateLock&) = delete;
    ~StateLock();

    // The open lock file, for a child process to hold it as well. Not to be closed.
    HANDLE File() const { return m_file.get(); }

private:
    void WritePid();

    OwnedHandle m_file;
};
