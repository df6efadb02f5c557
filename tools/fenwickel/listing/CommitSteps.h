// What ending a run consists of, whichever way its files were named.
#pragma once

#include <cstdint>
#include <string>

#include "StateFiles.h"
#include "report/LibraryFailures.h"

// Number of records in the list. Throws Failure with the remedy when the list is not complete.
std::uint64_t RequireWholeList(const WString& list, const std::string& remedy);

// A run that was killed may leave a whole listing without its list of deleted files; committed, no
// later run would report those. A base that is gone means an interrupted commit, for which the list
// was checked before. Throws Failure with the remedy.
void RequireDeletedList(const StateFiles& state, const std::string& remedy);

// Throws Failure (Held) when another program has base or syncing open: a commit that has begun
// cannot be undone.
void RequireUnheld(const StateFiles& state);

// The syncing file becomes the base. Waits for those who read one of them. Throws Failure.
void CommitListing(const StateFiles& state, const LibraryFailures& library);

// Deletes the syncing file and the list of deleted files. Throws Failure.
void DiscardListings(const StateFiles& state, const LibraryFailures& library);

// Prints the text, or the JSON result of success. Throws Failure, which says that the commit holds.
void PrintCommitted(const std::string& text, bool json);
