// What ending a run consists of, whichever way its files were named.
#pragma once

#include <cstdint>
#include <string>

#include "StateFiles.h"
#include "report/LibraryFailures.h"

// Number of records in the list. Throws Failure with the remedy when the list is not complete.
std::uint64_t RequireWholeList(const WString& list, const std::string& remedy);

// A run that was killed may leave a whole listing without the files that are gone; committed, they
// would never be told to anybody. A commit that was interrupted is past that question. Throws
// Failure with the remedy.
void RequireDeletedList(const StateFiles& state, const std::string& remedy);

// The commit cannot be undone half-way, so asks before it starts whether base and syncing are free.
// Throws Failure (Held).
void RequireUnheld(const StateFiles& state);

// The syncing file becomes the base. Waits for those who read one of them. Throws Failure.
void CommitListing(const StateFiles& state, const LibraryFailures& library);

// Deletes the syncing file and the list of deleted files. Throws Failure.
void DiscardListings(const StateFiles& state, const LibraryFailures& library);

// Prints the text, or the JSON result of success. Throws Failure, which says that the commit holds.
void PrintCommitted(const std::string& text, bool json);
