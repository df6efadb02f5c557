// The folder that log files lie in.
#pragma once

#include "fenwickel/Types.h"

namespace NSDBG {

// Creates the folder of a log file, parents included, and gives it what log folders have: access
// for the local service account, and compression inside the configured log folder. Failures are not
// reported: without the folder, opening the file fails.
void PrepareLogFolder(const WCHAR* filePath);

}  // namespace NSDBG
