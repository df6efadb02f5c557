#include "logshare/LogFileName.h"

#include "platform/Text.h"

namespace {

using View = std::basic_string_view<WCHAR>;

constexpr View kExtension = WIDE(".Log");
constexpr std::size_t kDigits = 8;
constexpr std::size_t kNumberedLength = 32;  // ".", a number of at most ten digits and ".log"

// The number that eight digits give; 0 for anything else.
DWORD NumberOf(View digits) {
    DWORD number = 0;
    for (const WCHAR digit : digits) {
        if (digit < WIDE('0') || digit > WIDE('9')) {
            return 0;
        }
        number = number * 10 + static_cast<DWORD>(digit - WIDE('0'));
    }
    return number;
}

}  // namespace

LogFileName SplitLogFileName(View path) {
    View name = path;
    if (name.size() <= kExtension.size() ||
        !EqualNoCase(name.substr(name.size() - kExtension.size()), kExtension)) {
        return {path, 0};
    }
    name.remove_suffix(kExtension.size());
    if (name.size() <= kDigits || name[name.size() - kDigits - 1] != WIDE('.')) {
        return {name, 0};
    }
    const DWORD number = NumberOf(name.substr(name.size() - kDigits));
    if (number != 0) {
        name.remove_suffix(kDigits + 1);
    }
    return {name, number};
}

WString NumberedLogFile(View base, DWORD number) {
    WCHAR ending[kNumberedLength];
    WideFormat(ending, kNumberedLength, WIDE(".%08d.log"), number);
    return WString(base) + ending;
}

bool SameLogSeries(View first, View second) {
    return first == second || EqualNoCase(first, second) ||
           EqualNoCase(SplitLogFileName(first).base, SplitLogFileName(second).base);
}
