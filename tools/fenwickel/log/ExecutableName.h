// What log watch and log break share.
#pragma once

#include <string>

#include "fenwickel/Types.h"
#include "report/Failure.h"

// The argument in the form in which the library names executables. Throws Failure (Usage) unless it
// can be the file name of one.
WString ExecutableName(const std::string& argument);

// For a LogViewer whose presence could not be made known; reads the last error.
Failure ViewerFailure();
