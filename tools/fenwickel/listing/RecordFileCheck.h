// Refuses files of other programs before a command deletes or replaces them.
#pragma once

#include "StateFiles.h"

// Throws Failure (Usage) when a file of the state is there and is no record file, or the lock file
// no lock file. What a killed run leaves passes: records without their header, a tail cut off. The
// content of the base counts only when the command replaces it. Touches nothing.
void RequireRecordFiles(const StateFiles& state, bool replacesBase);
