// Upper case and comparison without regard to letter case.
#include <algorithm>

#include "platform/CaseMap.h"
#include "platform/Text.h"

namespace {

WCHAR UpperUnit(WCHAR unit) {
    if (unit < 0x80) {
        return unit >= 'a' && unit <= 'z' ? static_cast<WCHAR>(unit - ('a' - 'A')) : unit;
    }
    return UpperBeyondAscii(unit);
}

}  // namespace

WString UpperCase(std::basic_string_view<WCHAR> text) {
    WString upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(), UpperUnit);
    return upper;
}

bool EqualNoCase(std::basic_string_view<WCHAR> first, std::basic_string_view<WCHAR> second) {
    const auto sameLetter = [](WCHAR one, WCHAR other) {
        return one == other || UpperUnit(one) == UpperUnit(other);
    };
    return std::equal(first.begin(), first.end(), second.begin(), second.end(), sameLetter);
}
