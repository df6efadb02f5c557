#include "LogTime.h"

#include <array>
#include <chrono>
#include <cstdio>

#include "logshare/LogLineParser.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"

namespace {

// How a time may look, and which of the six parts from the year on its numbers are.
struct Form {
    const char* pattern;  // "d" stands for a digit
    int first;
    int count;
};

constexpr std::array kForms = {
    Form{"dddd-dd-dd", 0, 3}, Form{"dddd-dd-ddTdd:dd", 0, 5}, Form{"dddd-dd-ddTdd:dd:dd", 0, 6},
    Form{"dd:dd", 3, 2},      Form{"dd:dd:dd", 3, 3},
};

bool IsDigit(char sign) {
    return sign >= '0' && sign <= '9';
}

bool Matches(const std::string& text, const std::string& pattern) {
    if (text.size() != pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (pattern[i] == 'd' ? !IsDigit(text[i]) : text[i] != pattern[i]) {
            return false;
        }
    }
    return true;
}

WORD NumberAt(const std::string& text, std::size_t* at) {
    unsigned number = 0;
    for (; *at < text.size() && IsDigit(text[*at]); ++*at) {
        number = number * 10 + static_cast<unsigned>(text[*at] - '0');
    }
    ++*at;  // the sign between two numbers
    return static_cast<WORD>(number);
}

bool IsTime(const SYSTEMTIME& time) {
    const std::chrono::year_month_day day(std::chrono::year(time.wYear),
                                          std::chrono::month(time.wMonth),
                                          std::chrono::day(time.wDay));
    return day.ok() && time.wHour < 24 && time.wMinute < 60 && time.wSecond < 60;
}

}  // namespace

std::uint64_t ParseLogTime(const std::string& argument) {
    for (const Form& form : kForms) {
        if (!Matches(argument, form.pattern)) {
            continue;
        }
        SYSTEMTIME time;
        GetLocalTime(&time);
        time.wHour = time.wMinute = time.wSecond = time.wMilliseconds = 0;
        WORD* const parts[] = {&time.wYear, &time.wMonth,  &time.wDay,
                               &time.wHour, &time.wMinute, &time.wSecond};
        std::size_t at = 0;
        for (int i = 0; i < form.count; ++i) {
            *parts[form.first + i] = NumberAt(argument, &at);
        }
        if (IsTime(time)) {
            return LogTimeKey(time);
        }
    }
    throw Failure(ExitCode::Usage, "--since \"" + Escaped(argument) +
                                       "\" is no time: write it as 2026-11-22, "
                                       "2026-11-22T09:05, 2026-11-22T09:05:07, 09:05 or 09:05:07");
}

std::string LocalTimeText(const SYSTEMTIME& time) {
    char text[64];
    std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03u", time.wYear, time.wMonth,
                  time.wDay, time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
    return text;
}
