// The folder that log files lie in.
#pragma once

#include "fenwickel/Types.h"

namespace NSDBG {

// Creates the folder of a log file, parents included, and gives it what log folders have: access
// for the local service account, and compression inside the configured log folder. Does what it
// can; whether the file can be opened tells the rest.
void PrepareLogFolder(const WCHAR* filePath);

}  // namespace NSDBG
