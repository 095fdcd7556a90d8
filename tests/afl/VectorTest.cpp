// Test vectors in data files, in the manner of Tulip Indicators: tests/afl/vectors/reference.py
// computes every function from its definition with plain loops and writes the values; here
// each case's AFL expression runs on its series and must give the same value on every bar.
#include "AflTestSupport.h"
#include "afl/Functions.h"
#include "startup/TextHelpers.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace marlindex::afl {
namespace {

std::filesystem::path VectorFolder() {
    const char* source = std::getenv("MARLINDEX_SOURCE_DIR");
    return std::filesystem::path(source != nullptr ? source : ".") / "tests" / "afl" / "vectors";
}

double ParseValue(const std::string& text) {
    if (text == "null") {
        return kNull;
    }
    if (text == "nan") {
        return std::nan("");
    }
    if (text == "inf" || text == "-inf") {
        return text[0] == '-' ? -HUGE_VAL : HUGE_VAL;
    }
    double value = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (status != std::errc() || end != text.data() + text.size()) {
        throw std::runtime_error("not a number: " + text);
    }
    return value;
}

TradeDate ParseDate(const std::string& text) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    char dash = 0;
    std::istringstream in(text);
    in >> year >> dash >> month >> dash >> day;
    const std::chrono::sys_days days{std::chrono::year{year} / std::chrono::month{month} /
                                     std::chrono::day{day}};
    return static_cast<TradeDate>(days.time_since_epoch().count());
}

std::vector<std::string> Fields(const std::string& line, char separator) {
    std::vector<std::string> fields;
    std::string field;
    std::istringstream in(line);
    while (std::getline(in, field, separator)) {
        fields.push_back(field);
    }
    if (!line.empty() && line.back() == separator) {
        fields.emplace_back();
    }
    return fields;
}

std::map<std::string, test::TestSymbol> LoadSeries() {
    std::ifstream in(VectorFolder() / "series.txt");
    if (!in) {
        throw std::runtime_error("cannot read " + (VectorFolder() / "series.txt").string());
    }
    std::map<std::string, test::TestSymbol> series;
    std::map<std::string, MarketBreadth> markets;
    std::map<std::string, std::string> marketOf;
    std::string line;
    test::TestSymbol* symbol = nullptr;
    MarketBreadth* breadth = nullptr;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::istringstream words(line);
        std::string first;
        words >> first;
        if (first == "series") {
            std::string name;
            words >> name;
            symbol = &series[name];
            symbol->info.symbol = name;
        } else if (first == "breadth") {
            std::string name;
            words >> name;
            breadth = &markets[name];
        } else if (first == "end") {
            symbol = nullptr;
            breadth = nullptr;
        } else if (first == "info") {
            const std::vector<std::string> f = Fields(line.substr(5), '|');
            SymbolInfo& info = symbol->info;
            info.market = f.at(0);
            info.marketId = std::stoi(f.at(1));
            info.group = f.at(2);
            info.groupId = std::stoi(f.at(3));
            info.sector = f.at(4);
            info.sectorId = std::stoi(f.at(5));
            info.industry = f.at(6);
            info.industryId = std::stoi(f.at(7));
            for (const std::string& list : Fields(f.at(8), ',')) {
                if (!list.empty()) {
                    info.watchLists.set(static_cast<std::size_t>(std::stoi(list)));
                }
            }
        } else if (first == "market") {
            words >> marketOf[symbol->info.symbol];
        } else if (symbol != nullptr) {
            std::string value;
            symbol->bars.dates.push_back(ParseDate(first));
            for (std::vector<double>* column :
                 {&symbol->bars.open, &symbol->bars.high, &symbol->bars.low, &symbol->bars.close,
                  &symbol->bars.volume, &symbol->bars.openInt}) {
                words >> value;
                column->push_back(ParseValue(value));
            }
        } else if (breadth != nullptr) {
            std::string value;
            breadth->dates.push_back(ParseDate(first));
            BreadthDay day;
            for (double* field : {&day.advancing, &day.declining, &day.unchanged,
                                  &day.advancingVolume, &day.decliningVolume}) {
                words >> value;
                *field = ParseValue(value);
            }
            breadth->days.push_back(day);
        }
    }
    for (const auto& [name, market] : marketOf) {
        series[name].breadth = markets.at(market);
        series[name].hasBreadth = true;
    }
    return series;
}

struct Case {
    std::string expression;
    std::string series;
    std::vector<double> want;
};

std::vector<Case> LoadCases(const std::string& family) {
    std::ifstream in(VectorFolder() / (family + ".txt"));
    if (!in) {
        throw std::runtime_error("cannot read the vectors of " + family);
    }
    std::vector<Case> cases;
    std::string line;
    while (std::getline(in, line)) {
        if (line.starts_with("case ")) {
            cases.emplace_back().expression = line.substr(5);
        } else if (line.starts_with("on ")) {
            cases.back().series = line.substr(3);
        } else if (line.starts_with("want ")) {
            std::istringstream values(line.substr(5));
            std::string value;
            while (values >> value) {
                cases.back().want.push_back(ParseValue(value));
            }
        }
    }
    return cases;
}

bool Same(double got, double want) {
    if (IsNull(want) || IsNull(got)) {
        return IsNull(want) && IsNull(got);
    }
    if (std::isnan(want) || std::isnan(got)) {
        return std::isnan(want) && std::isnan(got);
    }
    if (std::isinf(want) || std::isinf(got)) {
        return want == got;
    }
    return std::fabs(got - want) <= 1e-9 * std::max(1.0, std::fabs(want));
}

void RunFamily(const std::string& family) {
    const std::map<std::string, test::TestSymbol> series = LoadSeries();
    const std::vector<Case> cases = LoadCases(family);
    ASSERT_FALSE(cases.empty());
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expression + " on " + c.series);
        const std::vector<double> got = test::Values(c.expression, series.at(c.series));
        ASSERT_EQ(got.size(), c.want.size());
        int reported = 0;
        for (std::size_t i = 0; i < got.size() && reported < 3; ++i) {
            if (!Same(got[i], c.want[i])) {
                ADD_FAILURE() << "bar " << i << ": got " << test::Show(got[i]) << ", want "
                              << test::Show(c.want[i]);
                ++reported;
            }
        }
    }
}

TEST(AflVectors, Averages) {
    RunFamily("averages");
}
TEST(AflVectors, OscillatorsAndTrend) {
    RunFamily("oscillators");
}
TEST(AflVectors, VolumeAndAccumulation) {
    RunFamily("volume");
}
TEST(AflVectors, BreadthWithMissingDays) {
    RunFamily("breadth");
}
TEST(AflVectors, TradingToolboxAndOperators) {
    RunFamily("toolbox");
}
TEST(AflVectors, Categories) {
    RunFamily("categories");
}

// Every function of the table is called by at least one vector (AddColumn by all of them).
TEST(AflVectors, CoverEveryFunction) {
    std::set<std::string> called{"addcolumn"};
    for (const char* family :
         {"averages", "oscillators", "volume", "breadth", "toolbox", "categories"}) {
        for (const Case& c : LoadCases(family)) {
            const std::string text = ToLowerAscii(c.expression);
            for (const FunctionSpec& entry : Functions()) {
                const std::string name = ToLowerAscii(entry.name);
                for (std::size_t at = text.find(name); at != std::string::npos;
                     at = text.find(name, at + 1)) {
                    const bool starts =
                        at == 0 || !std::isalnum(static_cast<unsigned char>(text[at - 1]));
                    if (starts && text.compare(at + name.size(), 1, "(") == 0) {
                        called.insert(name);
                    }
                }
            }
        }
    }
    for (const FunctionSpec& entry : Functions()) {
        EXPECT_TRUE(called.contains(ToLowerAscii(entry.name))) << entry.name << " has no vector";
    }
}

// The warm-up the table states for a function is where its first value stands on a series
// that moves from its first bar.
TEST(AflVectors, WarmUpIsWhatTheTableStates) {
    const test::TestSymbol walk = LoadSeries().at("walk");
    for (const FunctionSpec& entry : Functions()) {
        if (entry.start == nullptr) {
            continue;
        }
        std::string call = std::string(entry.name) + "(";
        std::vector<double> options;
        for (std::size_t k = 0; k < entry.params.size(); ++k) {
            const Param& param = entry.params[k];
            std::string argument = "Close";
            if (param.kind == ParamKind::Period || param.name == "periods") {
                const double period = param.optional ? param.fallback : 3.0 * double(k + 1);
                options.push_back(period);
                argument = std::to_string(static_cast<int>(period));
            } else if (param.kind == ParamKind::Number) {
                const double number = param.optional ? param.fallback : 1;
                options.push_back(number);
                argument = std::to_string(number);
            }
            call += (k == 0 ? " " : ", ") + argument;
        }
        call += entry.params.empty() ? ")" : " )";
        const std::vector<double> values = test::Values(call, walk);
        std::size_t first = 0;
        while (first < values.size() && IsNull(values[first])) {
            ++first;
        }
        EXPECT_EQ(first, entry.start(options.data())) << call;
    }
}

} // namespace
} // namespace marlindex::afl
