// Every formula the generator can write parses and runs: single-row scans over every
// indicator with every comparison it offers, then random scans across the whole catalogue
// (options, modifiers with percent, bars ago, brackets, both joiners, the three analysis
// types, stored preferences, filters in both builders' forms), each run on a symbol with
// categories, watch lists and market breadth.
#include "AflTestSupport.h"
#include "filter/FilterExpression.h"
#include "formula/Catalogues.h"
#include "scanfile/ScanFile.h"
#include "settings/MemoryHive.h"
#include "startup/TextHelpers.h"

#include <cmath>
#include <random>

namespace marlindex::afl {
namespace {

class Generator {
public:
    explicit Generator(unsigned seed) : random_(seed) {}

    int Below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
    bool Chance(int percent) { return Below(100) < percent; }
    template <typename T> const T& Pick(const std::vector<T>& items) {
        return items[static_cast<std::size_t>(Below(static_cast<int>(items.size())))];
    }

    std::string Option(int indicator) {
        const std::vector<OptionEntry> options = IndicatorOptions(indicator);
        return options.empty() ? std::string() : Pick(options).text;
    }

    double Amount() { return Pick(std::vector<double>{0, 5, 2.5, -3, 10, 100, 0.0000001, 150}); }

    // A row as the editor can make it, for indicator A and comparison c.
    ScanRow Row(int a, int c) {
        ScanRow row;
        EditorState& s = row.state;
        s.indicator1 = a;
        s.option1 = Option(a);
        s.comparison = c;
        const ComparisonEntry comparison = Comparison(c);
        std::string target;
        if (HasTargetList(comparison.kind)) {
            const std::vector<std::string> offered = OfferedTargets(comparison.kind);
            target = offered.size() > 1 && Chance(50) ? offered[1] : offered.front();
        }
        s.comparisonType = target;
        s.tp1 = Pick(std::vector<std::int32_t>{0, 1, 2, 3, 10, 60});
        s.tp2 = TakesBars2(comparison.group) && target == kTargetIndicator ? Below(4)
                                                                           : 1 + Below(3);
        if (target == kTargetIndicator) {
            s.indicator2 = Pick(PairedIndicators(a));
            s.option2 = Option(*s.indicator2);
        }
        const std::vector<std::string> operations{kModifyIncrease, kModifyDecrease, kModifyMultiply,
                                                  kModifyDivide};
        if (Chance(30)) {
            s.modify1On = true;
            s.modify1Operation = Pick(operations);
            s.modify1 = Amount();
        }
        if (target == kTargetIndicator && Chance(40)) {
            s.modify2On = true;
            s.modify2Operation = Pick(operations);
            s.modify2 = Amount();
            s.modify2Unit = Chance(50) ? kUnitPercent : kUnitValue;
        }
        s.value1 = Pick(std::vector<double>{30, 0, -3, 2.5, 1000000, 0.5});
        return row;
    }

    // Random rows with balanced brackets and both joiners.
    std::vector<ScanRow> Rows(int count) {
        std::vector<ScanRow> rows;
        int open = 0;
        for (int i = 0; i < count; ++i) {
            const int a = Below(kIndicatorCount);
            ScanRow row = Row(a, Pick(AvailableComparisons(a)));
            row.joiner = Chance(50) ? "AND" : "OR";
            row.openBrackets = Chance(25) ? 1 + Below(2) : 0;
            open += row.openBrackets;
            row.closeBrackets = i + 1 == count ? open : Below(open + 1);
            open -= row.closeBrackets;
            rows.push_back(row);
        }
        return rows;
    }

    std::string Filter() {
        const ExpressionForm form = Chance(50) ? ExpressionForm::Load : ExpressionForm::SaveData;
        FilterExpressionBuilder builder(form);
        const std::vector<std::vector<std::string>> names{{"NYSE", "NASDAQ"},
                                                          {"Stocks", "Funds"},
                                                          {"Technology", "Finance"},
                                                          {"O'Neil Group", "Banks"},
                                                          {"0", "3", "63"}};
        for (std::size_t category = 0; category < names.size(); ++category) {
            for (const std::string& name : names[category]) {
                builder.Add(category, Below(3), name, name);
            }
        }
        return builder.Build();
    }

    // Stored preferences in place of some indicators' defaults.
    void Preferences(CProgramSettings& settings) {
        for (int index = 0; index < kIndicatorCount; ++index) {
            const IndicatorEntry entry = Indicator(index);
            if (entry.defaultParameters.empty() || !Chance(30)) {
                continue;
            }
            settings.SetSection("Settings\\Indicator\\" + std::to_string(index));
            const std::vector<std::string> defaults = SplitAtBlanks(entry.defaultParameters);
            for (std::size_t k = 0; k < defaults.size(); ++k) {
                std::string value = std::to_string(1 + Below(40));
                if (defaults[k] == "Close") {
                    value = Pick(std::vector<std::string>{"Close", "High", "Low", "Open", "Avg"});
                } else if (defaults[k] == "False") {
                    value = Chance(50) ? "True" : "False";
                } else if (defaults[k].find('.') != std::string::npos) {
                    value = Pick(std::vector<std::string>{"0.02", "0.5", "1.02", "0.2"});
                }
                settings.WriteEntry(std::to_string(k + 1), value);
            }
        }
    }

private:
    std::mt19937 random_;
};

test::TestSymbol Market() {
    std::vector<double> closes;
    for (int i = 0; i < 300; ++i) {
        closes.push_back(40 + 8 * std::sin(i * 0.09) + 3 * std::sin(i * 0.7) + (i % 13 == 0));
    }
    test::TestSymbol symbol = test::FromCloses(closes);
    for (std::size_t i = 0; i < closes.size(); ++i) {
        symbol.bars.volume[i] = 1000 + 400 * std::sin(static_cast<double>(i) * 0.3);
        symbol.bars.high[i] += static_cast<double>(i % 5) * 0.1;
        symbol.breadth.dates.push_back(symbol.bars.dates[i]);
        symbol.breadth.days.push_back(
            {100.0 + static_cast<double>(i % 7), 90, 10, 5e6, 4e6 + static_cast<double>(i)});
    }
    symbol.hasBreadth = true;
    symbol.info.market = "NYSE";
    symbol.info.group = "Stocks";
    symbol.info.sector = "Technology";
    symbol.info.industry = "O'Neil Group";
    symbol.info.watchLists.set(0).set(3).set(63);
    return symbol;
}

// Generates `scan`'s formula, runs it, and checks the results are what its analysis type
// promises: its one condition array holds only 0, 1 and Null.
void ExpectRuns(const Scan& scan, CProgramSettings& settings, const test::TestSymbol& symbol,
                Workspace& workspace) {
    // The scan goes through the file format first, which refuses what the editor cannot make.
    const Result<ParsedScan> read = ParseScan(WriteScan(scan));
    ASSERT_TRUE(read.ok()) << read.problem().Message();
    const ParsedScan& parsed = *read;
    ASSERT_TRUE(parsed.warnings.empty()) << parsed.warnings.front();
    const std::string formula = GenerateScan(parsed.scan, settings).formula;
    SCOPED_TRACE(formula);
    try {
        const Results& results = Evaluate(Formula::Parse(formula), symbol.Data(), workspace);
        const std::optional<std::span<const double>>& condition =
            scan.analysis == AnalysisType::Exploration ? results.filter
            : scan.analysis == AnalysisType::BuyScan   ? results.buy
                                                       : results.sell;
        ASSERT_TRUE(condition.has_value());
        EXPECT_EQ(results.filter.has_value() + results.buy.has_value() + results.sell.has_value(),
                  1);
        for (const double value : *condition) {
            ASSERT_TRUE(value == 0 || value == 1 || IsNull(value)) << value;
        }
        EXPECT_EQ(results.columns.size(), scan.analysis == AnalysisType::Exploration ? 5u : 0u);
    } catch (const Error& error) {
        FAIL() << error.what();
    }
}

Scan ScanOf(std::vector<ScanRow> rows, AnalysisType analysis, int applyTo, std::string filter) {
    Scan scan;
    scan.analysis = analysis;
    scan.applyTo = applyTo;
    scan.filter = std::move(filter);
    scan.rows = std::move(rows);
    return scan;
}

TEST(AflGeneratedFormulas, EveryIndicatorWithEveryComparisonRuns) {
    Generator generator(7);
    MemoryHive hive;
    CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
    const test::TestSymbol symbol = Market();
    Workspace workspace;
    for (int a = 0; a < kIndicatorCount; ++a) {
        for (const int c : AvailableComparisons(a)) {
            for (int analysis = 0; analysis < 3; ++analysis) {
                ExpectRuns(ScanOf({generator.Row(a, c)}, static_cast<AnalysisType>(analysis),
                                  kApplyToFilter, generator.Filter()),
                           settings, symbol, workspace);
            }
        }
    }
}

TEST(AflGeneratedFormulas, RandomScansAcrossTheCatalogueRun) {
    Generator generator(2024);
    const test::TestSymbol symbol = Market();
    Workspace workspace;
    for (int i = 0; i < 300; ++i) {
        MemoryHive hive;
        CProgramSettings settings = CProgramSettings::ForMarlindex(hive);
        generator.Preferences(settings);
        const Scan scan = ScanOf(generator.Rows(1 + generator.Below(8)),
                                 static_cast<AnalysisType>(generator.Below(3)), generator.Below(3),
                                 generator.Filter());
        ExpectRuns(scan, settings, symbol, workspace);
    }
}

} // namespace
} // namespace marlindex::afl
