#include "formula/Catalogues.h"

#include "formula/AflNumber.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <set>

namespace marlindex {
namespace {

TEST(Catalogues, IndicatorRecordsAreConsistent) {
    const Catalogues& tables = BuildCatalogues();
    std::set<std::string> names;
    for (int index = 0; index < kIndicatorCount; ++index) {
        SCOPED_TRACE(std::string(tables.indicators[static_cast<std::size_t>(index)]));
        ASSERT_EQ(SplitEntry(tables.indicators[static_cast<std::size_t>(index)]).size(), 5u);
        const IndicatorEntry entry = Indicator(index);
        EXPECT_EQ(entry.index, index);
        EXPECT_TRUE(names.insert(ToLowerAscii(entry.displayName)).second) << "names are unique";
        // Each default parameter has its placeholder, and no placeholder lacks a default.
        const std::size_t defaults =
            entry.defaultParameters.empty() ? 0 : SplitAtBlanks(entry.defaultParameters).size();
        for (std::size_t k = 1; k <= 3; ++k) {
            const bool placeholder =
                entry.aflTemplate.find(" A" + std::to_string(k)) != std::string::npos;
            EXPECT_EQ(placeholder, k <= defaults) << "A" << k;
        }
        EXPECT_EQ(entry.hasOptions, !IndicatorOptions(index).empty());
    }
    EXPECT_EQ(tables.indicators[0], "0;AccDist();Acc/Dist;0;");
    EXPECT_EQ(tables.indicators[14], "14;Price;Price;1;");
    EXPECT_EQ(Indicator(17).defaultParameters, "1.02 0.2");
    EXPECT_EQ(Indicator(27).defaultParameters, "Close 10 2");
    EXPECT_EQ(Indicator(28).defaultParameters, "Close 5 2");
}

TEST(Catalogues, PairingsAreListedInTheirOwnOrder) {
    const std::vector<int> shortList = PairedIndicators(7);
    const std::vector<int> mediumList = PairedIndicators(8);
    const auto position = [](const std::vector<int>& list, int value) {
        return std::find(list.begin(), list.end(), value) - list.begin();
    };
    EXPECT_LT(position(shortList, 17), position(shortList, 14))
        << "SAR before Price for MA (Short)";
    EXPECT_LT(position(mediumList, 14), position(mediumList, 17)) << "Price before SAR otherwise";
    EXPECT_EQ(std::set<int>(shortList.begin(), shortList.end()),
              std::set<int>(mediumList.begin(), mediumList.end()));
    EXPECT_EQ(PairedIndicators(16), std::vector<int>{16});
    EXPECT_EQ(PairedIndicators(25), mediumList) << "Price Oscillator is in the price group";
    EXPECT_EQ(PairedIndicators(26), (std::vector<int>{22, 23, 26}));
    for (int a = 0; a < kIndicatorCount; ++a) {
        const auto list = PairedIndicators(a);
        EXPECT_NE(std::find(list.begin(), list.end(), a), list.end()) << a << " pairs with itself";
    }
}

TEST(Catalogues, CrossingsAreOfferedOnlyWhereTheTableSays) {
    const std::set<int> withCrossings = {2,  5,  6,  7,  8,  9,  10, 13, 14, 18, 22,
                                         23, 27, 28, 31, 34, 35, 36, 37, 38, 39};
    for (int a = 0; a < kIndicatorCount; ++a) {
        const std::vector<int> offered = AvailableComparisons(a);
        const bool crosses = std::find(offered.begin(), offered.end(), 0) != offered.end();
        EXPECT_EQ(crosses, withCrossings.count(a) == 1) << a;
        EXPECT_EQ(offered.size(), crosses ? 12u : 10u);
    }
}

TEST(Catalogues, ComparisonTemplatesHaveTheirFormsAndKinds) {
    for (int c = 0; c < kComparisonCount; ++c) {
        const ComparisonEntry entry = Comparison(c);
        EXPECT_EQ(entry.index, c);
        EXPECT_EQ(entry.templates.size(), TakesBars2(entry.group) ? 4u : 2u) << entry.text;
    }
    EXPECT_EQ(Comparison(0).kind, ComparisonKind::IndicatorOnly);
    EXPECT_EQ(Comparison(6).kind, ComparisonKind::IndicatorOrValue);
    EXPECT_EQ(Comparison(9).kind, ComparisonKind::ValueOnly);
    EXPECT_EQ(Comparison(11).kind, ComparisonKind::OwnExtreme);
    EXPECT_EQ(Comparison(7).templates[0], "BarsSince( Array1 == Value ) < Period1");
    EXPECT_EQ(FindComparisonByText("Highest It Has Been"), 11);
    EXPECT_EQ(FindIndicatorByName("stochastic %d(slow)"), 18);
    EXPECT_FALSE(FindIndicatorByName("Bollinger Band (Top)")) << "the catalogue spells it Bolinger";
}

// The groups follow the texts, and each kind's rules give the editor's target list and side 2.
TEST(Catalogues, KindsAndGroupsDecideTargetsAndSide2) {
    using G = ComparisonGroup;
    const std::pair<const char*, G> groups[] = {{"crosses above", G::Crossing},
                                                {"crosses below", G::Crossing},
                                                {"is equal to", G::BarByBar},
                                                {"is greater than", G::BarByBar},
                                                {"has been below", G::HasBeen},
                                                {"has equalled", G::WithinLast},
                                                {"has been greater than", G::WithinLast},
                                                {"lowest it has been", G::LowestHighest},
                                                {"highest it has been", G::LowestHighest}};
    for (const auto& [text, group] : groups) {
        EXPECT_EQ(GroupOf(FindComparisonByText(text)), group) << text;
    }
    EXPECT_FALSE(GroupOf(12));
    EXPECT_FALSE(GroupOf(std::nullopt));

    using Targets = std::vector<std::string>;
    EXPECT_EQ(OfferedTargets(ComparisonKind::IndicatorOnly), Targets{"Indicator"});
    EXPECT_EQ(OfferedTargets(ComparisonKind::IndicatorOrValue), (Targets{"Indicator", "Value"}));
    EXPECT_EQ(OfferedTargets(ComparisonKind::ValueOnly), Targets{"Value"});
    EXPECT_TRUE(OfferedTargets(ComparisonKind::OwnExtreme).empty()) << "decided by the bars";
    EXPECT_TRUE(TakesValue(ComparisonKind::OwnExtreme));

    EXPECT_TRUE(ComparesWithIndicator(ComparisonKind::IndicatorOnly, ""));
    EXPECT_FALSE(ComparesWithIndicator(ComparisonKind::IndicatorOrValue, ""));
    EXPECT_FALSE(ComparesWithValue(ComparisonKind::IndicatorOrValue, "", 0)) << "nothing chosen";
    EXPECT_TRUE(ComparesWithValue(ComparisonKind::IndicatorOrValue, "Value", 3));
    EXPECT_TRUE(ComparesWithValue(ComparisonKind::OwnExtreme, "", 0));
    EXPECT_FALSE(ComparesWithValue(ComparisonKind::OwnExtreme, "Value", 5)) << "its own extreme";
    EXPECT_FALSE(ComparesWithIndicator(ComparisonKind::OwnExtreme, "Indicator"));
}

TEST(Catalogues, OptionListsInTableOrder) {
    const auto texts = [](int indicator) {
        std::vector<std::string> result;
        for (const auto& option : IndicatorOptions(indicator)) {
            result.push_back(option.text);
        }
        return result;
    };
    using Texts = std::vector<std::string>;
    EXPECT_EQ(texts(14), (Texts{"Close", "High", "Low", "Open", "Avg"}));
    for (const int ma : {7, 8, 9}) {
        EXPECT_EQ(texts(ma), (Texts{"Simple", "Exponential", "Weighted"}));
    }
    EXPECT_EQ(IndicatorOptions(8).front().position, 8) << "item data is the table position";
    EXPECT_TRUE(IndicatorOptions(16).empty());
}

TEST(AflNumber, PlainDecimalWithFifteenSignificantDigits) {
    EXPECT_EQ(FormatAflNumber(1 + 10.0 / 100), "1.1");
    EXPECT_EQ(FormatAflNumber((100 - 10.0) / 100), "0.9");
    EXPECT_EQ(FormatAflNumber(1.0 / 100), "0.01");
    EXPECT_EQ(FormatAflNumber(1 + 57.0 / 100), "1.57");
    EXPECT_EQ(FormatAflNumber(-3), "-3");
    EXPECT_EQ(FormatAflNumber(0.0000001), "0.0000001");
    EXPECT_EQ(FormatAflNumber(30), "30");
    EXPECT_EQ(FormatAflNumber(1e20), "100000000000000000000");
    EXPECT_EQ(FormatAflNumber(1.0 / 3), "0.333333333333333");
    EXPECT_EQ(FormatAflNumber(123456789.123456789), "123456789.123457");
    EXPECT_EQ(FormatAflNumber(-0.0), "0");
    EXPECT_EQ(FormatAflNumber(9.9999999999999999), "10") << "rounding carries into a new digit";
    EXPECT_EQ(FormatAflNumber(1e-300).substr(0, 4), "0.00");
    EXPECT_EQ(FormatAflNumber(std::numeric_limits<double>::quiet_NaN()), "0");
    EXPECT_EQ(FormatAflNumber(std::numeric_limits<double>::infinity()), "0");
}

} // namespace
} // namespace marlindex
