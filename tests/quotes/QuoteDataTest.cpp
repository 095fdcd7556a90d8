// Trading dates: the ISO form in and out, and the day numbers behind it.
#include "quotes/QuoteData.h"

#include <gtest/gtest.h>

namespace marlindex {
namespace {

TEST(TradeDate, CountsDaysFrom1970) {
    EXPECT_EQ(ParseIsoDate("1970-01-01"), 0);
    EXPECT_EQ(ParseIsoDate("1969-12-31"), -1);
    EXPECT_EQ(ParseIsoDate("2013-02-08"), 15744);
    EXPECT_EQ(ParseIsoDate("2018-02-07"), 17569);
    EXPECT_EQ(FormatIsoDate(15744), "2013-02-08");
    EXPECT_EQ(FormatIsoDate(-719528), "0000-01-01");
}

TEST(TradeDate, EveryDayOfTwoCenturiesGoesRoundTheForm) {
    const TradeDate first = *ParseIsoDate("1900-01-01");
    const TradeDate last = *ParseIsoDate("2099-12-31");
    for (TradeDate date = first; date <= last; ++date) {
        const std::string text = FormatIsoDate(date);
        ASSERT_EQ(ParseIsoDate(text), date) << text;
    }
    EXPECT_EQ(last - first + 1, 73049) << "200 years with 48 leap days (1900 and 2100 have none)";
}

TEST(TradeDate, RefusesAnythingButAnExistingDateInTheIsoForm) {
    for (const char* text :
         {"2016-02-29", "2000-02-29", "2013-12-31", "9999-12-31", "0001-01-01"}) {
        EXPECT_TRUE(ParseIsoDate(text).has_value()) << text;
    }
    for (const char* text : {"2014-02-29", "1900-02-29", "2013-02-30", "2013-04-31", "2013-00-10",
                             "2013-13-01", "2013-01-00", "2013-01-32", "2013-2-08", "2013/02/08",
                             "20130208", " 2013-02-08", "2013-02-08 ", "2013-02-08T00",
                             "2013-02-0x", "+013-02-08", "-013-02-08", "", "08.02.2013"}) {
        EXPECT_FALSE(ParseIsoDate(text).has_value()) << text;
    }
}

} // namespace
} // namespace marlindex
