#include "platform/CaseMap.h"

WCHAR UpperBeyondAscii(WCHAR unit) {
    WCHAR upper = unit;
    // Without linguistic casing this is the mapping that file names follow.
    const int length = LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, &unit, 1, &upper, 1,
                                     nullptr, nullptr, 0);
    return length == 1 ? upper : unit;
}
