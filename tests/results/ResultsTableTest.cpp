#include "results/ResultsTable.h"

#include "afl/Null.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TradeDate Day(const char* iso) {
    return *ParseIsoDate(iso);
}

// An exploration with a value column and a column that is Null on some rows, rows in the
// run's order (by symbol, then date).
std::shared_ptr<const RunContext> Exploration() {
    auto run = std::make_shared<RunContext>();
    AnalysisResults& r = run->results;
    r.mode = AnalysisMode::Explore;
    r.symbols = {"AAA", "BBB", "CCC"};
    r.columns = {{"Close", 1.2}, {"RSI", 1.0}};
    r.rows = {{0, Day("2024-01-03")},
              {0, Day("2024-01-04")},
              {1, Day("2024-01-03")},
              {1, Day("2024-01-04")},
              {2, Day("2024-01-02")}};
    r.values = {11, 40, 11, afl::kNull, 20, 55.5, 9, afl::kNull, 11, 30};
    run->request.mode = AnalysisMode::Explore;
    run->request.range = {RangeMode::LastDays, 5};
    run->ranAt = "2026-11-25 14:03";
    return run;
}

std::vector<std::string> Column(const ResultsTable& table, std::size_t column) {
    std::vector<std::string> cells;
    for (std::size_t r = 0; r < table.RowCount(); ++r) {
        cells.push_back(table.CellText(r, column) + (column == 0 ? "" : "/" + table.SymbolAt(r)));
    }
    return cells;
}

TEST(ResultsTable, SortsNumbersAsNumbersWithTiesBySymbolThenDateAndNullsLast) {
    ResultsTable table(Exploration());
    ASSERT_EQ(table.Columns().size(), 4u);
    EXPECT_EQ(table.Columns()[2].title, "Close");
    EXPECT_EQ(table.Columns()[3].kind, CellKind::Number);

    // 9 before 11 before 20 (as text "9.00" would sort last); the three 11s by symbol, date.
    table.SortBy(2, false);
    EXPECT_EQ(Column(table, 2), (std::vector<std::string>{"9.00/BBB", "11.00/AAA", "11.00/AAA",
                                                          "11.00/CCC", "20.00/BBB"}));
    EXPECT_EQ(table.DateAt(1), Day("2024-01-03"));
    // Descending keeps ties in the same order.
    table.SortBy(2, true);
    EXPECT_EQ(Column(table, 2), (std::vector<std::string>{"20.00/BBB", "11.00/AAA", "11.00/AAA",
                                                          "11.00/CCC", "9.00/BBB"}));
    EXPECT_EQ(table.DateAt(1), Day("2024-01-03"));

    // A Null shows empty and comes last whichever way the column is sorted.
    table.SortBy(3, false);
    EXPECT_EQ(Column(table, 3),
              (std::vector<std::string>{"30/CCC", "40/AAA", "56/BBB", "/AAA", "/BBB"}));
    table.SortBy(3, true);
    EXPECT_EQ(Column(table, 3),
              (std::vector<std::string>{"56/BBB", "40/AAA", "30/CCC", "/AAA", "/BBB"}));
    EXPECT_TRUE(afl::IsNull(table.CellNumber(3, 3)));

    // Dates as dates, ties by symbol; symbols descending, their dates still ascending.
    table.SortBy(1, false);
    EXPECT_EQ(Column(table, 1),
              (std::vector<std::string>{"2024-01-02/CCC", "2024-01-03/AAA", "2024-01-03/BBB",
                                        "2024-01-04/AAA", "2024-01-04/BBB"}));
    table.SortBy(0, true);
    EXPECT_EQ(Column(table, 0), (std::vector<std::string>{"CCC", "BBB", "BBB", "AAA", "AAA"}));
    EXPECT_EQ(table.DateAt(3), Day("2024-01-03"));
    EXPECT_EQ(table.SortColumn(), 0u);
    EXPECT_TRUE(table.SortDescending());
}

TEST(ResultsTable, ADayFromTheChartNarrowsTheSortedRowsUntilItIsCleared) {
    ResultsTable table(Exploration());
    ASSERT_EQ(table.HitsPerDay().size(), 3u);
    EXPECT_EQ(table.HitsPerDay()[1].symbols, 2u);
    EXPECT_EQ(table.CountText(), "5 rows");

    table.SortBy(2, true);
    table.ShowDay(Day("2024-01-03"));
    EXPECT_EQ(Column(table, 2), (std::vector<std::string>{"20.00/BBB", "11.00/AAA"}));
    EXPECT_EQ(table.CountText(), "2 of 5 rows, on 2024-01-03");
    // Sorting again keeps the day.
    table.SortBy(0, false);
    EXPECT_EQ(Column(table, 0), (std::vector<std::string>{"AAA", "BBB"}));
    EXPECT_EQ(table.ResultRowAt(1), 2u);
    // A day without rows shows none.
    table.ShowDay(Day("2024-01-05"));
    EXPECT_EQ(table.RowCount(), 0u);
    table.ShowAllDays();
    EXPECT_EQ(table.RowCount(), 5u);
    EXPECT_FALSE(table.Day());
    EXPECT_EQ(table.CountText(), "5 rows");
}

TEST(ResultsTable, TitleNamesTheKindRowsRangeAndTime) {
    EXPECT_EQ(ResultsTable(Exploration()).Title(),
              "Exploration: 5 rows, last 5 days, ran 2026-11-25 14:03");
    auto scan = std::make_shared<RunContext>();
    scan->request = {AnalysisMode::Scan, {RangeMode::LastBars, 1}, std::string("BBB")};
    scan->results.mode = AnalysisMode::Scan;
    scan->results.symbols = {"BBB"};
    scan->results.rows = {{0, 10, Trade::Buy, 1}};
    scan->results.cancelled = true;
    EXPECT_EQ(ResultsTable(scan).Title(), "Scan of BBB: 1 row, last bar, cancelled");
    EXPECT_EQ(RangeText({RangeMode::AllBars, 7}), "all bars");
    EXPECT_EQ(RangeText({RangeMode::LastBars, 20}), "last 20 bars");
    EXPECT_EQ(RangeText({RangeMode::LastDays, 1}), "last day");
}

TEST(ResultsTable, ExportsAndCopiesTheRowsShownInTheirOrder) {
    auto run = std::make_shared<RunContext>();
    AnalysisResults& r = run->results;
    r.mode = AnalysisMode::Scan;
    r.symbols = {"AAA", "B,B"};
    r.rows = {{0, Day("2024-01-03"), Trade::Buy, 11},
              {1, Day("2024-01-03"), Trade::Buy, 20},
              {1, Day("2024-01-03"), Trade::Sell, 20},
              {1, Day("2024-01-04"), Trade::Sell, 19.5}};
    ResultsTable table(run);
    EXPECT_EQ(table.Columns()[2].title, "Trade");
    // Sell after Buy by text; Buy and Sell of one bar keep Buy first as a tie.
    table.SortBy(2, true);
    EXPECT_EQ(Column(table, 2),
              (std::vector<std::string>{"Sell/B,B", "Sell/B,B", "Buy/AAA", "Buy/B,B"}));
    table.SortBy(3, false);
    table.ShowDay(Day("2024-01-03"));

    const test::TempFolder folder;
    const std::filesystem::path file = folder.path() / "rows.csv";
    ASSERT_TRUE(table.ExportCsv(file));
    EXPECT_EQ(test::ReadBytes(file), "Symbol,Date,Trade,Close\n"
                                     "AAA,2024-01-03,Buy,11.00\n"
                                     "\"B,B\",2024-01-03,Buy,20.00\n"
                                     "\"B,B\",2024-01-03,Sell,20.00\n");
    EXPECT_EQ(table.CopyText(), "Symbol\tDate\tTrade\tClose\n"
                                "AAA\t2024-01-03\tBuy\t11.00\n"
                                "B,B\t2024-01-03\tBuy\t20.00\n"
                                "B,B\t2024-01-03\tSell\t20.00\n");

    // A folder that is not there: nothing written, the file named in the problem.
    const Result<void> failed = table.ExportCsv(folder.path() / "missing" / "rows.csv");
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.problem().kind, ProblemKind::Failure);
    EXPECT_NE(failed.problem().Message().find("rows.csv"), std::string::npos);
}

} // namespace
} // namespace marlindex
