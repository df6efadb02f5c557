#include "RecordText.h"

#include <array>
#include <chrono>

#include "platform/Text.h"
#include "report/Failure.h"
#include "system/Paths.h"

namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kSecondsPerDay = 86'400;
constexpr std::uint64_t kDaysPerCycle = 146'097;  // 400 years, after which the calendar repeats

struct StatusText {
    std::uint8_t status;
    const char* name;
};
constexpr std::array kStatusTexts = {
    StatusText{SYNC_ITEM_DELETED, "deleted"}, StatusText{SYNC_ITEM_NEW, "new"},
    StatusText{SYNC_ITEM_CHANGED, "changed"}, StatusText{SYNC_ITEM_UNCHANGED, "unchanged"}};

void AppendNumber(std::string& text, std::uint64_t number, std::size_t width, char fill = '0') {
    char digits[32];
    std::size_t at = sizeof digits;
    do {
        digits[--at] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    const std::size_t count = sizeof digits - at;
    text.append(count < width ? width - count : 0, fill);
    text.append(digits + at, count);
}

void AppendDate(std::string& text, std::uint64_t daysSince1601) {
    using namespace std::chrono;
    const sys_days cycleStart = year(1601) / January / 1;
    const year_month_day date(cycleStart + days(static_cast<int>(daysSince1601 % kDaysPerCycle)));
    const std::uint64_t cycles = daysSince1601 / kDaysPerCycle;
    AppendNumber(text, cycles * 400 + static_cast<std::uint64_t>(static_cast<int>(date.year())), 4);
    text += '-';
    AppendNumber(text, static_cast<unsigned>(date.month()), 2);
    text += '-';
    AppendNumber(text, static_cast<unsigned>(date.day()), 2);
}

// ISO 8601 in UTC with seven digits: "2026-01-31T08:15:00.1234567Z".
std::string TimeText(std::uint64_t ticks) {
    std::string text;
    const std::uint64_t seconds = ticks / kTicksPerSecond;
    AppendDate(text, seconds / kSecondsPerDay);
    text += 'T';
    AppendNumber(text, seconds / 3600 % 24, 2);
    text += ':';
    AppendNumber(text, seconds / 60 % 60, 2);
    text += ':';
    AppendNumber(text, seconds % 60, 2);
    text += '.';
    AppendNumber(text, ticks % kTicksPerSecond, 7);
    text += 'Z';
    return text;
}

void AppendPadded(std::string& text, const std::string& word, std::size_t width) {
    text += word;
    text.append(word.size() < width ? width - word.size() : 0, ' ');
}

// RFC 4648, with padding.
std::string Base64(std::string_view bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8U | (i < count ? static_cast<unsigned char>(bytes[at + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += i <= count ? digits[group >> (18 - 6 * i) & 63U] : '=';
        }
    }
    return text;
}

}  // namespace

std::string StatusName(std::uint8_t status) {
    for (const StatusText& entry : kStatusTexts) {
        if (entry.status == status) {
            return entry.name;
        }
    }
    return std::to_string(status);
}

std::uint8_t StatusFromName(const std::string& name) {
    for (const StatusText& entry : kStatusTexts) {
        if (entry.name == name) {
            return entry.status;
        }
    }
    return 0;
}

std::string TableHeading() {
    return "status    index            size  write time (UTC)              path\n";
}

void AppendTableRow(std::string& text, const RecordView& record) {
    AppendPadded(text, StatusName(record.status), 9);
    AppendNumber(text, record.pathIndex, 6, ' ');
    AppendNumber(text, record.size, 16, ' ');
    text += "  " + TimeText(record.writeTime) + "  ";
    text += Escaped(HostDisplayText(WString(record.path)));
    text += '\n';
}

JsonFields Fields(const RecordView& record) {
    JsonFields fields;
    fields.reserve(8);
    fields.emplace_back("path_index", record.pathIndex);
    fields.emplace_back("status", StatusName(record.status));
    fields.emplace_back("path", Utf8FromWide(record.path));
    if (!IsValidUtf16(record.path)) {
        const auto* bytes = reinterpret_cast<const char*>(record.path.data());
        fields.emplace_back("path_b64", Base64({bytes, record.path.size() * sizeof(WCHAR)}));
    }
    fields.emplace_back("size", record.size);
    fields.emplace_back("write_time", TimeText(record.writeTime));
    fields.emplace_back("create_time", TimeText(record.createTime));
    fields.emplace_back("access_time", TimeText(record.accessTime));
    return fields;
}
