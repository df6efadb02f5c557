// A run's summary for programs and for people.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "RunSummaryFields.h"
#include "report/Failure.h"

namespace {

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

JsonFields Fields(const RunSummary& summary) {
    JsonFields fields;
    for (const SummaryText& text : kSummaryTexts) {
        fields.emplace_back(text.name, ValidUtf8(summary.*text.member));
    }
    for (const SummaryCount& count : kSummaryCounts) {
        fields.emplace_back(count.name, summary.*count.member);
    }
    return fields;
}

std::string Table(const RunSummary& summary) {
    std::string table;
    for (const SummaryText& text : kSummaryTexts) {
        table += TextLine(text.name, summary.*text.member);
    }
    for (const SummaryCount& count : kSummaryCounts) {
        table += CountLine(count, summary);
    }
    if (summary.exitCode != 0) {
        table += NumberLine("exit_code", static_cast<std::uint64_t>(summary.exitCode));
    }
    return table + TextLine("message", summary.message);
}
