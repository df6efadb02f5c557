#include "RunSummary.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iterator>
#include <utility>

#include "platform/Platform.h"
#include "report/ExitCodes.h"
#include "report/Failure.h"

namespace {

constexpr std::pair<RunOutcome, const char*> kOutcomes[] = {
    {RunOutcome::Open, ""},           {RunOutcome::Committed, "committed"},
    {RunOutcome::Pending, "pending"}, {RunOutcome::DryRun, "dry run"},
    {RunOutcome::Failed, "failed"},   {RunOutcome::Discarded, "discarded"},
};

// Counts that are told also when they are 0: what a run found.
constexpr std::uint64_t RunSummary::*kAlways[] = {&RunSummary::fresh, &RunSummary::changed,
                                                  &RunSummary::unchanged, &RunSummary::deleted};

std::string Line(std::string name, const std::string& value) {
    std::replace(name.begin(), name.end(), '_', ' ');
    name.resize(std::max<std::size_t>(name.size() + 1, 13), ' ');
    return name + value + '\n';
}

std::string TextLine(const char* name, const std::string& value) {
    return value.empty() ? "" : Line(name, Escaped(ValidUtf8(value)));
}

std::string NumberLine(const char* name, std::uint64_t value, const char* unit = "") {
    char text[32];
    std::snprintf(text, sizeof text, "%14llu", static_cast<unsigned long long>(value));
    return Line(name, text + std::string(unit));
}

std::string CountLine(const SummaryCount& count, const RunSummary& summary) {
    const std::uint64_t value = summary.*count.member;
    if (count.member == &RunSummary::elapsedMs) {
        return NumberLine("elapsed", value, " ms");
    }
    const bool always =
        std::find(std::begin(kAlways), std::end(kAlways), count.member) != std::end(kAlways);
    return always || value != 0 ? NumberLine(count.name, value) : "";
}

}  // namespace

const char* OutcomeName(RunOutcome outcome) {
    return std::find_if(std::begin(kOutcomes), std::end(kOutcomes),
                        [outcome](const auto& row) { return row.first == outcome; })
        ->second;
}

std::string TextOf(const RunSummary& summary, const SummaryText& text) {
    return text.member == nullptr ? OutcomeName(summary.outcome) : summary.*text.member;
}

bool SetText(RunSummary* summary, const SummaryText& text, std::string value) {
    if (text.member != nullptr) {
        summary->*text.member = std::move(value);
        return true;
    }
    const auto* const known = std::find_if(std::begin(kOutcomes), std::end(kOutcomes),
                                           [&](const auto& row) { return row.second == value; });
    if (known == std::end(kOutcomes)) {
        return false;
    }
    summary->outcome = known->first;
    return true;
}

std::string NewRunId() {
    UUID unique = {};
    if (const auto code = UuidCreate(&unique); code != 0) {
        throw Failure(ExitCode::Failed, "cannot make an id for the run: " +
                                            Reason(static_cast<int>(code)) + ": run again");
    }
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08lx", static_cast<unsigned long>(unique.Data1));
    std::string id;
    for (const char sign : TimestampNow()) {
        if (sign != '-' && sign != ':') {
            id += sign;
        }
    }
    return id + '-' + digits;
}

std::string TimestampNow() {
    using namespace std::chrono;
    const auto now = floor<seconds>(system_clock::now());
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ",
                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()));
    return text;
}

JsonFields Fields(const RunSummary& summary) {
    JsonFields fields;
    for (const SummaryText& text : kSummaryTexts) {
        fields.emplace_back(text.name, ValidUtf8(TextOf(summary, text)));
    }
    for (const SummaryCount& count : kSummaryCounts) {
        fields.emplace_back(count.name, summary.*count.member);
    }
    return fields;
}

std::string Table(const RunSummary& summary) {
    std::string table;
    for (const SummaryText& text : kSummaryTexts) {
        table += TextLine(text.name, TextOf(summary, text));
    }
    for (const SummaryCount& count : kSummaryCounts) {
        table += CountLine(count, summary);
    }
    if (summary.exitCode != 0) {
        table += NumberLine("exit_code", static_cast<std::uint64_t>(summary.exitCode));
    }
    return table + TextLine("message", summary.message);
}
