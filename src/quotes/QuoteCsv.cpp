#include "quotes/QuoteCsv.h"

#include "startup/Problem.h"
#include "startup/TextHelpers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <span>
#include <unordered_map>

namespace marlindex {

namespace {

bool IsLineEnd(char c) {
    return c == '\n' || c == '\r';
}

std::string JoinFields(const std::vector<std::string>& fields) {
    std::string joined;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        joined += (i == 0 ? "" : ",") + fields[i];
    }
    return joined;
}

// Compares a header with the expected column names, letter case and surrounding blanks aside.
bool HeaderIs(std::span<const std::string> fields, std::span<const std::string_view> names) {
    return fields.size() == names.size() &&
           std::equal(fields.begin(), fields.end(), names.begin(),
                      [](const std::string& field, std::string_view name) {
                          return EqualsIgnoreCase(TrimBlanks(field), name);
                      });
}

std::string ShortestText(double value) {
    std::array<char, 32> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), result.ptr};
}

constexpr double kEmpty = std::numeric_limits<double>::quiet_NaN();

} // namespace

CsvReader::CsvReader(std::string_view text, std::string fileName)
    : text_(text), fileName_(std::move(fileName)) {
    if (text_.starts_with("\xEF\xBB\xBF")) {
        pos_ = 3;
    }
}

void CsvReader::Fail(std::string what) const {
    throw ProblemError(ProblemKind::BadInput,
                       Place::AtLine(fileName_, static_cast<std::size_t>(recordLine_)),
                       std::move(what));
}

bool CsvReader::Next(std::vector<std::string>& fields) {
    while (pos_ < text_.size()) {
        recordLine_ = line_;
        std::size_t count = 0;
        const auto field = [&]() -> std::string& {
            if (count == fields.size()) {
                fields.emplace_back();
            }
            std::string& value = fields[count++];
            value.clear();
            return value;
        };
        bool endOfRecord = false;
        bool quoted = false;
        while (!endOfRecord) {
            std::string& value = field();
            if (pos_ < text_.size() && text_[pos_] == '"') {
                quoted = true;
                ++pos_;
                while (true) {
                    const std::size_t quote = text_.find('"', pos_);
                    if (quote == std::string_view::npos) {
                        Fail("a quoted field is never closed");
                    }
                    const std::string_view part = text_.substr(pos_, quote - pos_);
                    for (std::size_t i = 0; i < part.size(); ++i) {
                        if (part[i] == '\n' ||
                            (part[i] == '\r' && (i + 1 == part.size() || part[i + 1] != '\n'))) {
                            ++line_;
                        }
                    }
                    value.append(part);
                    pos_ = quote + 1;
                    if (pos_ < text_.size() && text_[pos_] == '"') {
                        value += '"';
                        ++pos_;
                        continue;
                    }
                    break;
                }
                if (pos_ < text_.size() && text_[pos_] != ',' && !IsLineEnd(text_[pos_])) {
                    Fail("text follows the closing quote of field " + std::to_string(count));
                }
            } else {
                const std::size_t end = std::min(text_.find_first_of(",\r\n", pos_), text_.size());
                value.append(text_.substr(pos_, end - pos_));
                pos_ = end;
            }
            if (pos_ >= text_.size()) {
                endOfRecord = true;
            } else if (text_[pos_] == ',') {
                ++pos_;
            } else {
                pos_ += text_.compare(pos_, 2, "\r\n") == 0 ? 2U : 1U;
                ++line_;
                endOfRecord = true;
            }
        }
        fields.resize(count);
        if (count == 1 && !quoted && TrimBlanks(fields[0]).empty()) {
            continue; // a blank line
        }
        return true;
    }
    return false;
}

BarRepairs& BarRepairs::operator+=(const BarRepairs& other) {
    openFromClose += other.openFromClose;
    highRaised += other.highRaised;
    lowFromOpenClose += other.lowFromOpenClose;
    rows += other.rows;
    return *this;
}

namespace {

constexpr std::array<std::string_view, 7> kPriceColumns{"Date",  "Open",   "High",   "Low",
                                                        "Close", "Volume", "OpenInt"};
constexpr std::string_view kPriceHeader = "Date,Open,High,Low,Close,Volume[,OpenInt]";

// A number field; NaN when it is empty and `emptyAllowed`.
double ReadNumber(const CsvReader& reader, const std::string& field, std::string_view column,
                  bool emptyAllowed) {
    const std::string_view text = TrimBlanks(field);
    if (text.empty()) {
        if (emptyAllowed) {
            return kEmpty;
        }
        reader.Fail(std::string(column) + " is empty");
    }
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value)) {
        reader.Fail(std::string(column) + " " + QuoteExcerpt(field) + " is not a number");
    }
    return value;
}

// Applies the importer's repairs to one bar, in their fixed order, and says what changed.
void Repair(double& open, double& high, double& low, double close, const CsvReader& reader,
            PriceFile& file) {
    std::string what;
    const auto note = [&what](const std::string& text) {
        what += (what.empty() ? "" : "; ") + text;
    };
    BarRepairs& repairs = file.repairs;
    if (std::isnan(open) || open == 0) {
        note(std::string(std::isnan(open) ? "Open empty" : "Open 0") + ", took Close " +
             ShortestText(close));
        open = close;
        ++repairs.openFromClose;
    }
    const double top = std::max(open, close);
    if (std::isnan(high) || high < top) {
        note((std::isnan(high) ? std::string("High empty") : "High " + ShortestText(high)) +
             ", raised to max(Open, Close) " + ShortestText(top));
        high = top;
        ++repairs.highRaised;
    }
    if (std::isnan(low) || low == 0) {
        const double bottom = std::min(open, close);
        note(std::string(std::isnan(low) ? "Low empty" : "Low 0") + ", took min(Open, Close) " +
             ShortestText(bottom));
        low = bottom;
        ++repairs.lowFromOpenClose;
    }
    if (!what.empty()) {
        ++repairs.rows;
        if (file.notes.size() < kMaxRepairNotes) {
            file.notes.push_back({reader.fileName(), reader.line(), std::move(what)});
        }
    }
}

template <typename T> void ReverseColumn(std::vector<T>& column) {
    std::reverse(column.begin(), column.end());
}

PriceFile PriceFileOrThrow(std::string_view text, const std::string& fileName) {
    CsvReader reader(text, fileName);
    std::vector<std::string> fields;
    if (!reader.Next(fields)) {
        throw ProblemError(ProblemKind::BadInput, Place::AtLine(fileName, 1),
                           "the file is empty; it needs the header " + std::string(kPriceHeader));
    }
    const std::span<const std::string_view> columns(kPriceColumns);
    if (!HeaderIs(fields, columns.first(6)) && !HeaderIs(fields, columns)) {
        reader.Fail("the header must be " + std::string(kPriceHeader) + ", not " +
                    QuoteExcerpt(JoinFields(fields)));
    }
    const std::size_t columnCount = fields.size();
    const bool hasOpenInt = columnCount == kPriceColumns.size();

    PriceFile file;
    BarSeries& bars = file.bars;
    const std::size_t expected = text.size() / 40; // a typical row is about 40 bytes
    for (auto* column :
         {&bars.open, &bars.high, &bars.low, &bars.close, &bars.volume, &bars.openInt}) {
        column->reserve(expected);
    }
    bars.dates.reserve(expected);

    int direction = 0; // +1 ascending, -1 descending, 0 not known before the second row
    int previousLine = 0;
    while (reader.Next(fields)) {
        if (fields.size() != columnCount) {
            reader.Fail(std::to_string(fields.size()) + " fields where the header has " +
                        std::to_string(columnCount));
        }
        const auto date = ParseIsoDate(TrimBlanks(fields[0]));
        if (!date) {
            reader.Fail("the date " + QuoteExcerpt(fields[0]) + " is not a date (YYYY-MM-DD)");
        }
        double open = ReadNumber(reader, fields[1], "Open", true);
        double high = ReadNumber(reader, fields[2], "High", true);
        double low = ReadNumber(reader, fields[3], "Low", true);
        const double close = ReadNumber(reader, fields[4], "Close", false);
        const double volume = ReadNumber(reader, fields[5], "Volume", false);
        double openInt = hasOpenInt ? ReadNumber(reader, fields[6], "OpenInt", true) : 0;
        if (std::isnan(openInt)) {
            openInt = 0;
        }

        if (!bars.dates.empty()) {
            const TradeDate previous = bars.dates.back();
            if (*date == previous) {
                reader.Fail("the date " + FormatIsoDate(*date) + " is repeated (line " +
                            std::to_string(previousLine) + " has it too)");
            }
            const int step = *date > previous ? 1 : -1;
            if (direction == 0) {
                direction = step;
            } else if (step != direction) {
                reader.Fail("the date " + FormatIsoDate(*date) + " is out of order: the dates " +
                            (direction > 0 ? "ascend" : "descend") + " and line " +
                            std::to_string(previousLine) + " has " + FormatIsoDate(previous));
            }
        }
        previousLine = reader.line();

        Repair(open, high, low, close, reader, file);
        bars.dates.push_back(*date);
        bars.open.push_back(open);
        bars.high.push_back(high);
        bars.low.push_back(low);
        bars.close.push_back(close);
        bars.volume.push_back(volume);
        bars.openInt.push_back(openInt);
    }
    if (direction < 0) {
        ReverseColumn(bars.dates);
        for (auto* column :
             {&bars.open, &bars.high, &bars.low, &bars.close, &bars.volume, &bars.openInt}) {
            ReverseColumn(*column);
        }
    }
    return file;
}

constexpr std::array<std::string_view, 5> kSymbolColumns{"Symbol", "Name", "Market", "Sector",
                                                         "Industry"};
constexpr std::string_view kSymbolsHeader =
    "Symbol,Name,Market,Sector,Industry[,Group][,Watchlists]";

std::bitset<kWatchListCount> ReadWatchLists(const CsvReader& reader, std::string_view text) {
    std::bitset<kWatchListCount> lists;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(';'), text.size());
        const std::string_view piece = TrimBlanks(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (piece.empty()) {
            continue;
        }
        unsigned number = 0;
        const auto [stop, error] =
            std::from_chars(piece.data(), piece.data() + piece.size(), number);
        if (error != std::errc() || stop != piece.data() + piece.size() ||
            number >= kWatchListCount) {
            reader.Fail("the watch list " + QuoteExcerpt(piece) + " is not a number from 0 to 63");
        }
        lists.set(number);
    }
    return lists;
}

std::vector<SymbolRow> SymbolsFileOrThrow(std::string_view text, const std::string& fileName) {
    CsvReader reader(text, fileName);
    std::vector<std::string> fields;
    const auto badHeader = [&](const std::string& found) {
        reader.Fail("the header must be " + std::string(kSymbolsHeader) + ", not " +
                    QuoteExcerpt(found));
    };
    if (!reader.Next(fields)) {
        throw ProblemError(ProblemKind::BadInput, Place::AtLine(fileName, 1),
                           "the file is empty; it needs the header " + std::string(kSymbolsHeader));
    }
    if (fields.size() < kSymbolColumns.size() ||
        !HeaderIs(std::span<const std::string>(fields).first(kSymbolColumns.size()),
                  kSymbolColumns)) {
        badHeader(JoinFields(fields));
    }
    int groupColumn = -1;
    int watchListColumn = -1;
    for (std::size_t i = kSymbolColumns.size(); i < fields.size(); ++i) {
        const std::string_view name = TrimBlanks(fields[i]);
        if (EqualsIgnoreCase(name, "Group") && groupColumn < 0 && watchListColumn < 0) {
            groupColumn = static_cast<int>(i);
        } else if (EqualsIgnoreCase(name, "Watchlists") && watchListColumn < 0) {
            watchListColumn = static_cast<int>(i);
        } else {
            badHeader(JoinFields(fields));
        }
    }
    const std::size_t columnCount = fields.size();

    std::vector<SymbolRow> rows;
    std::unordered_map<std::string, int> firstLine;
    while (reader.Next(fields)) {
        if (fields.size() != columnCount) {
            reader.Fail(std::to_string(fields.size()) + " fields where the header has " +
                        std::to_string(columnCount));
        }
        SymbolRow row;
        row.line = reader.line();
        const auto take = [&fields](std::size_t column) {
            return std::string(TrimBlanks(fields[column]));
        };
        row.symbol = take(0);
        if (row.symbol.empty()) {
            reader.Fail("the symbol is empty");
        }
        if (std::any_of(row.symbol.begin(), row.symbol.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20; })) {
            reader.Fail("the symbol " + QuoteExcerpt(row.symbol) +
                        " holds a control character (a TAB or a line break)");
        }
        const auto [first, added] = firstLine.emplace(row.symbol, row.line);
        if (!added) {
            reader.Fail("the symbol " + QuoteExcerpt(row.symbol) + " is listed twice (line " +
                        std::to_string(first->second) + " has it too)");
        }
        row.name = take(1);
        row.market = take(2);
        row.sector = take(3);
        row.industry = take(4);
        if (groupColumn >= 0) {
            row.group = take(static_cast<std::size_t>(groupColumn));
        }
        if (watchListColumn >= 0) {
            row.watchLists =
                ReadWatchLists(reader, fields[static_cast<std::size_t>(watchListColumn)]);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

} // namespace

Result<PriceFile> ReadPriceFile(std::string_view text, const std::string& fileName) {
    return CatchProblem([&] { return PriceFileOrThrow(text, fileName); });
}

Result<std::vector<SymbolRow>> ReadSymbolsFile(std::string_view text, const std::string& fileName) {
    return CatchProblem([&] { return SymbolsFileOrThrow(text, fileName); });
}

} // namespace marlindex
