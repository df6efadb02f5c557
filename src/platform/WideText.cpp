#include <cstdint>

#include "platform/Text.h"
#include "platform/Utf8.h"

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// The target of a formatting: keeps what fits and drops the rest.
class Output {
public:
    Output(WCHAR* buffer, std::size_t capacity) : m_buffer(buffer), m_last(capacity - 1) {}

    void Put(WCHAR unit) {
        if (m_used < m_last) {
            m_buffer[m_used++] = unit;
        }
    }
    void Fill(WCHAR unit, std::size_t count) {
        for (; count > 0 && m_used < m_last; --count) {
            m_buffer[m_used++] = unit;
        }
    }
    std::size_t Finish() {
        m_buffer[m_used] = 0;
        return m_used;
    }

private:
    WCHAR* m_buffer;
    std::size_t m_last;
    std::size_t m_used = 0;
};

enum class Size { Int, Long, Int64 };

// One conversion between its '%' and its letter.
struct Conversion {
    bool left = false;
    bool zero = false;
    std::size_t width = 0;
    Size size = Size::Int;
    WCHAR letter = 0;
    const WCHAR* end = nullptr;  // behind the letter
};

Conversion ParseConversion(const WCHAR* text) {
    Conversion conversion;
    for (; *text == '-' || *text == '0'; ++text) {
        (*text == '-' ? conversion.left : conversion.zero) = true;
    }
    for (; *text >= '0' && *text <= '9' && conversion.width < 100000; ++text) {
        conversion.width = conversion.width * 10 + static_cast<std::size_t>(*text - '0');
    }
    if (*text == 'l') {
        conversion.size = Size::Long;
        ++text;
    } else if (text[0] == 'I' && text[1] == '6' && text[2] == '4') {
        conversion.size = Size::Int64;
        text += 3;
    }
    conversion.letter = *text;
    conversion.end = *text == 0 ? text : text + 1;
    return conversion;
}

void PutPadded(Output* output, const Conversion& conversion, const WCHAR* text,
               std::size_t length) {
    const std::size_t padding = conversion.width > length ? conversion.width - length : 0;
    if (!conversion.left) {
        output->Fill(' ', padding);
    }
    for (std::size_t i = 0; i < length; ++i) {
        output->Put(text[i]);
    }
    if (conversion.left) {
        output->Fill(' ', padding);
    }
}

void PutNumber(Output* output, const Conversion& conversion, std::uint64_t magnitude,
               bool negative) {
    const unsigned base = conversion.letter == 'x' || conversion.letter == 'X' ? 16 : 10;
    const char* digits = conversion.letter == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    WCHAR text[24];
    WCHAR* const end = text + 24;
    WCHAR* start = end;
    do {
        *--start = static_cast<WCHAR>(digits[magnitude % base]);
        magnitude /= base;
    } while (magnitude != 0);
    Conversion rest = conversion;
    if (conversion.zero && !conversion.left) {
        const std::size_t length = static_cast<std::size_t>(end - start) + (negative ? 1 : 0);
        if (negative) {
            output->Put('-');
        }
        output->Fill('0', conversion.width > length ? conversion.width - length : 0);
        rest.width = 0;
    } else if (negative) {
        *--start = '-';
    }
    PutPadded(output, rest, start, static_cast<std::size_t>(end - start));
}

// Holds the argument list in a class, so that a helper can advance it for its caller.
class Arguments {
public:
    explicit Arguments(std::va_list list) { va_copy(m_list, list); }
    ~Arguments() { va_end(m_list); }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    const WCHAR* Text() { return va_arg(m_list, const WCHAR*); }
    WCHAR Unit() { return static_cast<WCHAR>(va_arg(m_list, int)); }
    std::int64_t Signed(Size size) {
        return size == Size::Int64 ? va_arg(m_list, std::int64_t) : va_arg(m_list, std::int32_t);
    }
    std::uint64_t Unsigned(Size size) {
        return size == Size::Int64 ? va_arg(m_list, std::uint64_t) : va_arg(m_list, std::uint32_t);
    }

private:
    std::va_list m_list;
};

void PutText(Output* output, const Conversion& conversion, const WCHAR* text) {
    text = text != nullptr ? text : WIDE("(null)");
    PutPadded(output, conversion, text, std::char_traits<WCHAR>::length(text));
}

void PutSigned(Output* output, const Conversion& conversion, std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    PutNumber(output, conversion, value < 0 ? 0 - bits : bits, value < 0);
}

// False when the conversion is not understood; no argument is taken then.
bool PutConversion(Output* output, const Conversion& conversion, Arguments* arguments) {
    const bool plain = conversion.size == Size::Int;
    switch (conversion.letter) {
        case 'd':
        case 'i':
            PutSigned(output, conversion, arguments->Signed(conversion.size));
            return true;
        case 'u':
        case 'x':
        case 'X':
            PutNumber(output, conversion, arguments->Unsigned(conversion.size), false);
            return true;
        case 's':
            if (plain) {
                PutText(output, conversion, arguments->Text());
            }
            return plain;
        case 'c':
            if (plain) {
                const WCHAR unit = arguments->Unit();
                PutPadded(output, conversion, &unit, 1);
            }
            return plain;
        case '%':
            output->Put('%');
            return true;
        default:
            return false;
    }
}

constexpr bool IsContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::size_t WideFormatV(WCHAR* buffer, std::size_t capacity, const WCHAR* format,
                        std::va_list list) {
    Output output(buffer, capacity);
    Arguments arguments(list);
    while (*format != 0) {
        if (*format != '%') {
            output.Put(*format++);
            continue;
        }
        const Conversion conversion = ParseConversion(format + 1);
        if (!PutConversion(&output, conversion, &arguments)) {
            break;
        }
        format = conversion.end;
    }
    for (; *format != 0; ++format) {
        output.Put(*format);
    }
    return output.Finish();
}

std::size_t WideFormat(WCHAR* buffer, std::size_t capacity, const WCHAR* format, ...) {
    std::va_list list;
    va_start(list, format);
    const std::size_t length = WideFormatV(buffer, capacity, format, list);
    va_end(list);
    return length;
}

std::size_t Utf8Sequence(const char* text, std::size_t left, char32_t* point) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80) {
        *point = first;
        return 1;
    }
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || left < length) {
        return 0;
    }
    char32_t value = first & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if (!IsContinuation(text[i])) {
            return 0;
        }
        value = (value << 6) | (static_cast<unsigned char>(text[i]) & 0x3FU);
    }
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    if (value < kLeast[length] || value > 0x10FFFF || IsSurrogate(value)) {
        return 0;
    }
    *point = value;
    return length;
}

void AppendUtf8(std::string* text, char32_t point) {
    if (point < 0x80) {
        text->push_back(static_cast<char>(point));
        return;
    }
    const int rest = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
    text->push_back(static_cast<char>(kLead[rest] | (point >> (6 * rest))));
    for (int i = rest - 1; i >= 0; --i) {
        text->push_back(static_cast<char>(0x80U | ((point >> (6 * i)) & 0x3FU)));
    }
}

std::size_t WideUnits(char32_t point, WCHAR* out) {
    if (point < 0x10000) {
        out[0] = static_cast<WCHAR>(point);
        return 1;
    }
    out[0] = static_cast<WCHAR>(0xD7C0 + (point >> 10));
    out[1] = static_cast<WCHAR>(0xDC00 + (point & 0x3FF));
    return 2;
}

char32_t WidePoint(const WCHAR* text, std::size_t left, std::size_t* units) {
    const char32_t first = text[0];
    const bool leads = first >= 0xD800 && first < 0xDC00 && left > 1;
    if (leads && text[1] >= 0xDC00 && text[1] <= 0xDFFF) {
        *units = 2;
        return ((first - 0xD7C0) << 10) | (static_cast<char32_t>(text[1]) & 0x3FF);
    }
    *units = 1;
    return first;
}

std::string Utf8FromWide(std::basic_string_view<WCHAR> text) {
    std::string result;
    result.reserve(text.size());
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); i += units) {
        const char32_t point = WidePoint(text.data() + i, text.size() - i, &units);
        AppendUtf8(&result, IsSurrogate(point) ? kReplacement : point);
    }
    return result;
}

WString WideFromUtf8(std::string_view text) {
    WString result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        char32_t point = 0;
        const std::size_t length = Utf8Sequence(text.data() + i, text.size() - i, &point);
        WCHAR units[2];
        result.append(units, WideUnits(length == 0 ? kReplacement : point, units));
        i += length == 0 ? 1 : length;
    }
    return result;
}

bool IsValidUtf16(std::basic_string_view<WCHAR> text) {
    std::size_t units = 0;
    for (std::size_t i = 0; i < text.size(); i += units) {
        if (IsSurrogate(WidePoint(text.data() + i, text.size() - i, &units))) {
            return false;
        }
    }
    return true;
}
