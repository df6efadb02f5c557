#include "platform/CaseMap.h"

#include <locale.h>
#include <wctype.h>

WCHAR UpperBeyondAscii(WCHAR unit) {
    // Kept until the process ends: text may be compared after the last static object is gone.
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (unicode == nullptr) {
        return unit;
    }
    const wint_t upper = towupper_l(unit, unicode);
    return upper < 0x10000 ? static_cast<WCHAR>(upper) : unit;
}
