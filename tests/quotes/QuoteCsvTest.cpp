// Reading price files and symbols files: RFC 4180 records, the importer's repairs exactly, and
// rows that cannot be read, refused with their file and line.
#include "quotes/QuoteCsv.h"

#include "support/QuoteFixtures.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

std::vector<std::vector<std::string>> Records(std::string_view text, std::vector<int>* lines) {
    CsvReader reader(text, "f.csv");
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> fields;
    while (reader.Next(fields)) {
        records.push_back(fields);
        lines->push_back(reader.line());
    }
    return records;
}

using Fields = std::vector<std::string>;

TEST(CsvReader, ReadsQuotedFieldsAndCountsTheLinesTheyHold) {
    std::vector<int> lines;
    const auto records = Records("\xEF\xBB\xBFSymbol,Name\r\n"
                                 "A,\"Agilent, Inc.\"\r\n"
                                 "\n"
                                 "B,\"Two\nlines and \"\"quotes\"\"\"\n"
                                 "C,\"\"\r"
                                 "D,,\n",
                                 &lines);
    ASSERT_EQ(records.size(), 5u);
    EXPECT_EQ(records[0], (Fields{"Symbol", "Name"})) << "the byte-order mark is not data";
    EXPECT_EQ(records[1], (Fields{"A", "Agilent, Inc."}));
    EXPECT_EQ(records[2], (Fields{"B", "Two\nlines and \"quotes\""}));
    EXPECT_EQ(records[3], (Fields{"C", ""}));
    EXPECT_EQ(records[4], (Fields{"D", "", ""}));
    EXPECT_EQ(lines, (std::vector<int>{1, 2, 4, 6, 7})) << "blank line 3 skipped, B spans 4-5";
}

TEST(CsvReader, RefusesBrokenQuotingWithTheRecordsLine) {
    for (const auto& [text, message] : std::vector<std::pair<std::string, std::string>>{
             {"a,b\nc,\"open\nd,e\n", "f.csv:2: a quoted field is never closed"},
             {"a,b\n\"x\"y,z\n", "f.csv:2: text follows the closing quote of field 1"}}) {
        std::vector<int> lines;
        try {
            Records(text, &lines);
            ADD_FAILURE() << text;
        } catch (const ProblemError& error) {
            EXPECT_EQ(error.problem().kind, ProblemKind::BadInput);
            EXPECT_EQ(error.problem().FileLineMessage(), message);
        }
    }
}

BarSeries Bars(const std::filesystem::path& file) {
    return ReadPriceFile(test::ReadBytes(file), file.string())->bars;
}

TEST(PriceFile, RepairsExactlyAsTheImporterDocuments) {
    const std::filesystem::path input = test::QuoteFixture("repairs/REP.csv");
    const PriceFile file = ReadPriceFile(test::ReadBytes(input), "REP.csv").value();
    const BarSeries expected = Bars(test::QuoteFixture("repairs/REP.expected.csv"));
    ASSERT_EQ(file.bars.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::string day = FormatIsoDate(expected.dates[i]);
        EXPECT_EQ(file.bars.dates[i], expected.dates[i]);
        EXPECT_EQ(file.bars.open[i], expected.open[i]) << day;
        EXPECT_EQ(file.bars.high[i], expected.high[i]) << day;
        EXPECT_EQ(file.bars.low[i], expected.low[i]) << day;
        EXPECT_EQ(file.bars.close[i], expected.close[i]) << day;
    }
    EXPECT_EQ(file.repairs, (BarRepairs{5, 5, 4, 9}));
    ASSERT_EQ(file.notes.size(), 9u);
    EXPECT_EQ(file.notes[0].line, 3);
    EXPECT_EQ(file.notes[0].what, "Open empty, took Close 11");
    EXPECT_EQ(file.notes[2].what, "Open empty, took Close 11; High empty, raised to max(Open, "
                                  "Close) 11; Low empty, took min(Open, Close) 11");
    EXPECT_EQ(file.notes[7].what, "High 9, raised to max(Open, Close) 11");
}

TEST(PriceFile, ReadsEitherDateOrderAndOpenInterest) {
    // CR LF, an OpenInt column with one empty field, blanks around numbers.
    const PriceFile ascending = ReadPriceFile("date,OPEN,High,Low,Close,Volume,OpenInt\r\n"
                                              "2024-01-03,20,21,19,20,1000,7\r\n"
                                              "2024-01-04, 20 ,20,18,19,2e3,\r\n",
                                              "x.csv")
                                    .value();
    EXPECT_EQ(ascending.bars.openInt, (std::vector<double>{7, 0}));
    EXPECT_EQ(ascending.bars.volume, (std::vector<double>{1000, 2000}));

    const BarSeries descending = Bars(test::QuoteFixture("tiny/prices/CCC.csv"));
    EXPECT_EQ(descending.dates,
              (std::vector<TradeDate>{*ParseIsoDate("2024-01-02"), *ParseIsoDate("2024-01-03"),
                                      *ParseIsoDate("2024-01-04")}));
    EXPECT_EQ(descending.close, (std::vector<double>{5, 4, 6}));
    EXPECT_EQ(descending.volume, (std::vector<double>{10, 20, 30}));

    EXPECT_EQ(ReadPriceFile("Date,Open,High,Low,Close,Volume\n", "new.csv")->bars.size(), 0u)
        << "a header alone is a symbol without bars yet";
}

TEST(PriceFile, RefusesRowsItCannotReadWithFileAndLine) {
    const std::string header = "Date,Open,High,Low,Close,Volume\n";
    const std::string good = "2020-01-02,1,2,0.5,1.5,10\n";
    const std::string longText(200, 'x');
    const std::vector<std::pair<std::string, std::string>> cases{
        {"", "p.csv:1: the file is empty; it needs the header "
             "Date,Open,High,Low,Close,Volume[,OpenInt]"},
        {"Date,Open,High,Low,Close\n", "p.csv:1: the header must be "
                                       "Date,Open,High,Low,Close,Volume[,OpenInt], not "
                                       "\"Date,Open,High,Low,Close\""},
        {header + good + "2020-02-30,1,2,0.5,1.5,10\n",
         "p.csv:3: the date \"2020-02-30\" is not a date (YYYY-MM-DD)"},
        {header + "02/01/2020,1,2,0.5,1.5,10\n",
         "p.csv:2: the date \"02/01/2020\" is not a date (YYYY-MM-DD)"},
        {header + good + "2020-01-03,1,abc,0.5,1.5,10\n", "p.csv:3: High \"abc\" is not a number"},
        {header + "2020-01-03,1,2,0.5,1.5,10,\n", "p.csv:2: 7 fields where the header has 6"},
        {header + "2020-01-03,1,2,0.5,1.5\n", "p.csv:2: 5 fields where the header has 6"},
        {header + "2020-01-03,1,2,0.5,,10\n", "p.csv:2: Close is empty"},
        {header + "2020-01-03,1,2,0.5,1.5,\n", "p.csv:2: Volume is empty"},
        {header + "2020-01-03,nan,2,0.5,1.5,10\n", "p.csv:2: Open \"nan\" is not a number"},
        {header + "2020-01-03,1,2,0.5,inf,10\n", "p.csv:2: Close \"inf\" is not a number"},
        {header + "2020-01-03,1,2,0.5,0x10,10\n", "p.csv:2: Close \"0x10\" is not a number"},
        {header + "2020-01-03,1,2,0.5,1.5,1" + longText + "\n",
         "p.csv:2: Volume \"1" + longText.substr(0, 59) + "...\" is not a number"},
        {header + good + good, "p.csv:3: the date 2020-01-02 is repeated (line 2 has it too)"},
        {header + good + "2020-01-03,1,2,0.5,1.5,10\n2020-01-01,1,2,0.5,1.5,10\n",
         "p.csv:4: the date 2020-01-01 is out of order: the dates ascend and line 3 has "
         "2020-01-03"},
        {header + "2020-01-03,1,2,0.5,1.5,10\n" + good + "2020-01-06,1,2,0.5,1.5,10\n",
         "p.csv:4: the date 2020-01-06 is out of order: the dates descend and line 3 has "
         "2020-01-02"},
    };
    for (const auto& [text, message] : cases) {
        const Result<PriceFile> read = ReadPriceFile(text, "p.csv");
        ASSERT_FALSE(read) << "read: " << text;
        EXPECT_EQ(read.problem().kind, ProblemKind::BadInput);
        EXPECT_EQ(read.problem().FileLineMessage(), message);
    }
}

TEST(SymbolsFile, ReadsTheOptionalColumnsByTheirHeader) {
    const auto rows =
        ReadSymbolsFile(test::ReadBytes(test::QuoteFixture("tiny/symbols.csv")), "symbols.csv")
            .value();
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].name, "Alpha, Inc.");
    EXPECT_EQ(rows[0].group, "Large");
    EXPECT_EQ(rows[0].watchLists->to_ullong(), 0b1001u);
    EXPECT_EQ(rows[1].group, "");
    EXPECT_EQ(rows[2].name, "Gamma \"G\" Ltd");
    EXPECT_EQ(rows[2].line, 4);
    EXPECT_TRUE(rows[2].watchLists->none());

    const auto plain = ReadSymbolsFile("Symbol,Name,Market,Sector,Industry\n"
                                       " BRK.B , Berkshire ,NYSE,Financials,Insurance\n",
                                       "s.csv")
                           .value();
    EXPECT_EQ(plain[0].symbol, "BRK.B") << "surrounding blanks dropped";
    EXPECT_EQ(plain[0].name, "Berkshire");
    EXPECT_FALSE(plain[0].group.has_value()) << "no Group column: the store keeps the group";
    EXPECT_FALSE(plain[0].watchLists.has_value());

    const auto listsOnly = ReadSymbolsFile("symbol,name,market,sector,industry,WATCHLISTS\n"
                                           "A,n,m,s,i, 63 ;; 0\n",
                                           "s.csv")
                               .value();
    EXPECT_FALSE(listsOnly[0].group.has_value());
    EXPECT_EQ(listsOnly[0].watchLists->to_ullong(), 0x8000000000000001u);
}

TEST(SymbolsFile, RefusesRowsItCannotRead) {
    const std::string header = "Symbol,Name,Market,Sector,Industry,Group,Watchlists\n";
    const std::vector<std::pair<std::string, std::string>> cases{
        {"Symbol,Name,Market,Industry,Sector\n",
         "s.csv:1: the header must be Symbol,Name,Market,Sector,Industry[,Group][,Watchlists], "
         "not \"Symbol,Name,Market,Industry,Sector\""},
        {"Symbol,Name,Market,Sector,Industry,Watchlists,Group\n",
         "s.csv:1: the header must be Symbol,Name,Market,Sector,Industry[,Group][,Watchlists], "
         "not \"Symbol,Name,Market,Sector,Industry,Watchlists,Group\""},
        {header + "A,n,m,s,i,g,64\n",
         "s.csv:2: the watch list \"64\" is not a number from 0 to 63"},
        {header + "A,n,m,s,i,g,1;-1\n",
         "s.csv:2: the watch list \"-1\" is not a number from 0 to 63"},
        {header + "A,n,m,s,i,g,1 2\n",
         "s.csv:2: the watch list \"1 2\" is not a number from 0 to 63"},
        {header + "A,n,m,s,i,g,\n  ,n,m,s,i,g,\n", "s.csv:3: the symbol is empty"},
        {header + "\"A\tB\",n,m,s,i,g,\n",
         "s.csv:2: the symbol \"A\\tB\" holds a control character (a TAB or a line break)"},
        {header + "A,n,m,s,i,g,\nB,n,m,s,i,g,\nA,n,m,s,i,g,\n",
         "s.csv:4: the symbol \"A\" is listed twice (line 2 has it too)"},
        {header + "A,n,m,s,i,g\n", "s.csv:2: 6 fields where the header has 7"},
    };
    for (const auto& [text, message] : cases) {
        const auto read = ReadSymbolsFile(text, "s.csv");
        ASSERT_FALSE(read) << "read: " << text;
        EXPECT_EQ(read.problem().FileLineMessage(), message);
    }
}

} // namespace
} // namespace marlindex
