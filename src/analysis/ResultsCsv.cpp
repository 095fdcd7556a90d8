#include "analysis/ResultsCsv.h"

#include "afl/Null.h"

#include <array>
#include <charconv>
#include <cmath>

namespace marlindex {

namespace {

constexpr double kDefaultFormat = 1.2;

void AppendField(std::string& out, std::string_view field) {
    if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
        out += field;
        return;
    }
    out += '"';
    for (const char c : field) {
        out += c;
        if (c == '"') {
            out += '"';
        }
    }
    out += '"';
}

} // namespace

int FormatDecimals(double format) {
    if (!std::isfinite(format) || format < 0) {
        format = kDefaultFormat;
    }
    // The digit as the user wrote it: the shortest text that reads back as the same double
    // ("1.2", not 1.1999999999999999556).
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), format);
    const std::string_view written(text.data(), static_cast<std::size_t>(end - text.data()));
    const std::size_t point = written.find('.');
    if (error != std::errc() || point == std::string_view::npos || point + 1 >= written.size() ||
        written.find('e') != std::string_view::npos) {
        return 0;
    }
    return written[point + 1] - '0';
}

std::string FormatColumnValue(double value, double format) {
    if (afl::IsNull(value)) {
        return {};
    }
    if (std::isnan(value)) {
        return "NaN";
    }
    if (std::isinf(value)) {
        return value > 0 ? "inf" : "-inf";
    }
    // A double has at most 309 digits before the point.
    std::array<char, 340> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value,
                                            std::chars_format::fixed, FormatDecimals(format));
    std::string formatted(text.data(), error == std::errc() ? end : text.data());
    if (formatted.starts_with('-') && formatted.find_first_not_of("-0.") == std::string::npos) {
        formatted.erase(0, 1); // -0.001 at two decimals is 0.00, not -0.00
    }
    return formatted;
}

std::string ResultsCsv(const AnalysisResults& results) {
    std::string out = "Symbol,Date";
    if (results.mode == AnalysisMode::Scan) {
        out += ",Trade,Close";
    } else {
        for (const ResultColumn& column : results.columns) {
            out += ',';
            AppendField(out, column.title);
        }
    }
    out += '\n';
    for (std::size_t r = 0; r < results.rows.size(); ++r) {
        const ResultRow& row = results.rows[r];
        AppendField(out, results.SymbolOf(row));
        out += ',';
        out += FormatIsoDate(row.date);
        if (results.mode == AnalysisMode::Scan) {
            out += row.trade == Trade::Buy ? ",Buy," : ",Sell,";
            out += FormatColumnValue(row.close, kDefaultFormat);
        } else {
            const std::span<const double> values = results.ValuesOf(r);
            for (std::size_t c = 0; c < values.size(); ++c) {
                out += ',';
                out += FormatColumnValue(values[c], results.columns[c].format);
            }
        }
        out += '\n';
    }
    return out;
}

} // namespace marlindex
