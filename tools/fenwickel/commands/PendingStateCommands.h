// Ending the pending run of a state folder: what commit and discard do with --state.
#pragma once

#include <string>

#include "Options.h"

// Each returns the exit code and throws Failure, as a command does.
int CommitStateFolder(const PendingOptions& options);
int DiscardStateFolder(const PendingOptions& options);

// The two commands that end the run, ready to be pasted, one a line. state is --state as given.
std::string EndCommands(const std::string& state, const std::string& run);
