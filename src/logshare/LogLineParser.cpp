#include "logshare/LogLineParser.h"

#include <algorithm>
#include <array>

namespace {

using View = std::basic_string_view<WCHAR>;

constexpr std::size_t kLongestTail = 260;

// Takes a text apart from its beginning; every step is skipped once one has failed.
class Scanner {
public:
    explicit Scanner(View text) : m_text(text) {}

    Scanner& Text(View expected) {
        m_good = m_good && m_text.substr(m_at, expected.size()) == expected;
        m_at += m_good ? expected.size() : 0;
        return *this;
    }

    // A number of that many digits, in this base.
    template <typename Number>
    Scanner& Digits(std::size_t fewest, std::size_t most, Number* number, unsigned base = 10) {
        std::uint64_t value = 0;
        std::size_t count = 0;
        for (; m_good && count < most && m_at < m_text.size(); ++count, ++m_at) {
            const unsigned digit = DigitAt(m_at);
            if (digit >= base) {
                break;
            }
            value = value * base + digit;
        }
        m_good = m_good && count >= fewest;
        *number = static_cast<Number>(value);
        return *this;
    }

    // The same with a minus sign before it or not: ids are written as signed numbers.
    template <typename Number>
    Scanner& Signed(std::size_t fewest, std::size_t most, Number* number) {
        const bool minus = m_at < m_text.size() && m_text[m_at] == '-';
        m_at += minus ? 1 : 0;
        std::uint64_t value = 0;
        Digits(fewest - (minus ? 1 : 0), most, &value);
        *number = static_cast<Number>(minus ? 0 - value : value);
        return *this;
    }

    bool Next(WCHAR unit) const { return m_at < m_text.size() && m_text[m_at] == unit; }
    std::size_t End() const { return m_good ? m_at : 0; }

private:
    unsigned DigitAt(std::size_t at) const {
        const WCHAR unit = m_text[at];
        if (unit >= 'A' && unit <= 'F') {
            return unit - 'A' + 10U;
        }
        if (unit >= 'a' && unit <= 'f') {
            return unit - 'a' + 10U;
        }
        return unit >= '0' && unit <= '9' ? unit - '0' : 99U;
    }

    View m_text;
    std::size_t m_at = 0;
    bool m_good = true;
};

}  // namespace

std::size_t ParseLogHeader(View text, LogLineHeader* header) {
    LogLineHeader found;
    SYSTEMTIME& time = found.time;
    Scanner scanner(text);
    scanner.Text(WIDE("[")).Digits(4, 4, &time.wYear);
    scanner.Text(WIDE("/")).Digits(2, 2, &time.wMonth).Text(WIDE("/")).Digits(2, 2, &time.wDay);
    scanner.Text(WIDE(" ")).Digits(2, 2, &time.wHour).Text(WIDE(":")).Digits(2, 2, &time.wMinute);
    scanner.Text(WIDE(":")).Digits(2, 2, &time.wSecond);
    scanner.Text(WIDE(":")).Digits(3, 3, &time.wMilliseconds);
    scanner.Text(WIDE("   ")).Signed(2, 10, &found.level);
    scanner.Text(WIDE("   ")).Signed(5, 10, &found.processId);
    scanner.Text(WIDE("   ")).Signed(5, 10, &found.threadId).Text(WIDE("   "));
    if (scanner.Next('0')) {
        scanner.Text(WIDE("0X")).Digits(8, 8, &found.errorCode, 16);
    } else {
        scanner.Text(WIDE("          "));
    }
    const std::size_t length = scanner.Text(WIDE("] ")).End();
    if (length != 0) {
        *header = found;
    }
    return length;
}

std::size_t FindLogHeader(View text) {
    LogLineHeader header;
    std::size_t at = text.find('[');
    while (at != View::npos && ParseLogHeader(text.substr(at), &header) == 0) {
        at = text.find('[', at + 1);
    }
    return at;
}

std::size_t ParseLogTail(View text, LogLineTail* tail) {
    const View end = text.substr(text.size() - std::min(text.size(), kLongestTail));
    const std::size_t start = end.rfind(WIDE("   {"));
    const std::size_t bracket = end.rfind('(');
    if (start == View::npos || bracket == View::npos || bracket < start) {
        return 0;
    }
    LogLineTail found;
    Scanner version(end.substr(bracket));
    version.Text(WIDE("(")).Digits(1, 5, &found.build).Text(WIDE("."));
    const std::size_t length = version.Digits(1, 5, &found.revision).Text(WIDE(")}")).End();
    const View names = end.substr(start + 4, bracket - start - 4);
    const std::size_t colons = names.rfind(WIDE("::"));
    if (length == 0 || bracket + length != end.size() || colons == View::npos) {
        return 0;
    }
    found.process = names.substr(0, colons);
    found.module = names.substr(colons + 2);
    *tail = found;
    return end.size() - start;
}

bool IsLogColumnLine(View line) {
    return line == WIDE("[   Date        Time      Level  PID     TID   ErrCode    ] .......");
}

bool IsLogSummaryText(View text) {
    constexpr std::array<View, 6> kBeginnings = {
        WIDE("================ SUMMARY LOG ======================="),
        WIDE("Product Info: [Velmora Labs] ["),
        WIDE("OS      Info: Computer Name["),
        WIDE("Log level of each module can be controlled by registry key:"),
        WIDE("[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Tessaline\\Engine\\Debug\\"),
        WIDE("=====================================================")};
    return std::any_of(kBeginnings.begin(), kBeginnings.end(), [&](View beginning) {
        return text.substr(0, beginning.size()) == beginning;
    });
}

std::uint64_t LogTimeKey(const SYSTEMTIME& time) {
    std::uint64_t key = time.wYear;
    for (const WORD part : {time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond}) {
        key = key * 100 + part;
    }
    return key * 1000 + time.wMilliseconds;
}
