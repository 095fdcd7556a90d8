// One run of a formula on the local host, as the results window, the chart and the why-panel
// see it: what was run (the formula text, the main window's condition rows and filter, the
// request), where (the database folder) and what it gave. The results window makes one after
// each run and shares it with every chart and panel opened from it, so a later run never
// changes what an open window explains.
#pragma once

#include "analysis/AnalysisResults.h"
#include "analysis/AnalysisRun.h"
#include "formula/ConditionRecord.h"

#include <filesystem>
#include <string>

namespace marlindex {

struct RunContext {
    std::filesystem::path databaseFolder; // holds quotes.db
    std::string formulaText;              // the formula as it ran (UTF-8)
    ConditionRecordList records;          // the main window's rows when it ran
    std::string filterExpression;         // the filter expression ("" when none)
    bool filterApplies = false;           // the run applied to the filter
    AnalysisRequest request;              // mode, range, symbol
    AnalysisResults results;
    std::string ranAt; // local time the run ended, "2026-11-25 14:03"
};

} // namespace marlindex
