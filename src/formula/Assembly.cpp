#include "formula/Assembly.h"

#include "startup/TextHelpers.h"

namespace marlindex {

namespace {

// The column titles keep their trailing blanks: they set the width of AmiBroker's columns.
constexpr std::string_view kExplorationColumns = "AddColumn( Close, \"Close  \" );\r\n"
                                                 "AddColumn( Open, \"Open  \" );\r\n"
                                                 "AddColumn( High, \"High  \" );\r\n"
                                                 "AddColumn( Low, \"Low  \" );\r\n"
                                                 "AddColumn( Volume, \"Volume      \" );";

std::string_view Assignment(AnalysisType analysis) {
    switch (analysis) {
    case AnalysisType::BuyScan:
        return "Buy = ";
    case AnalysisType::SellScan:
        return "Sell = ";
    case AnalysisType::Exploration:
        break;
    }
    return "Filter = ";
}

} // namespace

std::string AssembleFormula(std::string_view conditionCode, std::string_view filterExpression,
                            int applyTo, AnalysisType analysis) {
    const std::string_view code = TrimBlanks(conditionCode);
    if (code.empty()) {
        return {};
    }
    std::string text(Assignment(analysis));
    if (!filterExpression.empty() && applyTo == kApplyToFilter) {
        text.append(filterExpression);
        text += "\r\nAND ";
    }
    text.append(code);
    text += ';';
    if (analysis == AnalysisType::Exploration) {
        text += "\r\n";
        text.append(kExplorationColumns);
    }
    return text;
}

} // namespace marlindex
