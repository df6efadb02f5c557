// The folder that --state names: everything that one synchronisation keeps between its runs.
#pragma once

#include <string>
#include <string_view>

#include "listing/StateFiles.h"

// What lies in the folder. The table in StateFolder.cpp has the names, and which of them belong to
// one run.
enum class StateFile {
    Base,       // the listing of the last committed run
    Lock,       // held while a run is active
    Syncing,    // the listing of the run that is not ended
    Deleted,    // and its list of deleted files
    Run,        // the record of the run that is not ended
    Settings,   // what the base stands for
    Last,       // how the last run ended
    Unsettled,  // see Unsettled.h
    Removals,   // the paths to remove, a file per folder of the run
    Sends,      // the paths to send, a file per folder of the run
    Scratch,    // begins the names of what uploaders keep there while they run
};

struct StateFolder {
    WString path;  // without a separator at its end
    StateFiles files;

    // A path in the folder. index counts the folders of a run, for Removals and Sends.
    WString File(StateFile file, std::size_t index = 0) const;
};

// True for the name of an entry that the end of a run deletes: what is there for the time of one
// run only, beside its listings.
bool BelongsToOneRun(std::basic_string_view<WCHAR> name);

// Understands --state. Throws Failure (Usage) also when another account owns the folder or may
// write into it, and when it holds other things than a state. Touches nothing; the folder need not
// exist.
StateFolder ResolveStateFolder(const std::string& argument);

// Before a command writes into the folder: makes it when it is missing (its parent must be there),
// and keeps other accounts out of it and of what this process makes from now on, so that none of
// them can read a listing or hold the lock. Throws Failure.
void EnterStateFolder(const StateFolder& state);

// Throws Failure (Usage) when the folder is not there.
void RequireStateFolder(const StateFolder& state);
