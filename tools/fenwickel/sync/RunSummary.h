// The members of a run's summary by the names that they have in JSON, in the order of printing.
#pragma once

#include "RunRecord.h"

struct SummaryText {
    const char* name;
    std::string RunSummary::*member;
};

struct SummaryCount {
    const char* name;
    std::uint64_t RunSummary::*member;
};

inline constexpr SummaryText kSummaryTexts[] = {
    {"run", &RunSummary::run},           {"outcome", &RunSummary::outcome},
    {"started", &RunSummary::started},   {"to", &RunSummary::destination},
    {"snapshot", &RunSummary::snapshot}, {"note", &RunSummary::note},
};

inline constexpr SummaryCount kSummaryCounts[] = {
    {"new", &RunSummary::fresh},
    {"changed", &RunSummary::changed},
    {"unchanged", &RunSummary::unchanged},
    {"deleted", &RunSummary::deleted},
    {"sent", &RunSummary::sent},
    {"removed", &RunSummary::removed},
    {"not_carried", &RunSummary::notCarried},
    {"skipped", &RunSummary::skipped},
    {"tick_files", &RunSummary::tickFiles},
    {"elapsed_ms", &RunSummary::elapsedMs},
};
