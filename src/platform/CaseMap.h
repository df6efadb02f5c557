// Letter case of one UTF-16 unit; the part of Text.h that only the system's own tables know.
#pragma once

#include "fenwickel/Types.h"

// The upper case of a unit beyond ASCII by the simple mapping of Unicode, whatever the locale of
// the process; the unit itself when it has none.
WCHAR UpperBeyondAscii(WCHAR unit);
