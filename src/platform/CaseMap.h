// Letter case of one UTF-16 unit, from the tables of the system.
#pragma once

#include "fenwickel/Types.h"

// The upper case of a unit beyond ASCII by the simple mapping of Unicode, whatever the locale of
// the process; the unit itself when it has none.
WCHAR UpperBeyondAscii(WCHAR unit);
