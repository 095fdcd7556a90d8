#include "quotes/QuoteStore.h"

#include "quotes/Breadth.h"
#include "quotes/Sqlite.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstring>
#include <iterator>
#include <unordered_map>

namespace marlindex {

// The bar columns are stored as the machine holds them; both platforms we build for are
// little-endian, which the file layout states.
static_assert(std::endian::native == std::endian::little,
              "the quote store keeps its columns little-endian");

namespace {

namespace fs = std::filesystem;
using sqlite::Connection;
using sqlite::Statement;
using sqlite::Transaction;

constexpr std::int64_t kApplicationId = 0x4D4C5851; // "MLXQ" in the SQLite header
constexpr std::int64_t kLayoutVersion = 1;

// The bars of one symbol and calendar year form one row: a whole history is a handful of row
// reads, and a daily import rewrites only the current year's row of each symbol.
constexpr const char* kSchema = R"(
CREATE TABLE categories(
    kind INTEGER NOT NULL,   -- 0 market, 1 group, 2 sector, 3 industry
    number INTEGER NOT NULL, -- what MarketID(0) and the others return
    name TEXT NOT NULL,
    PRIMARY KEY (kind, number),
    UNIQUE (kind, name)) WITHOUT ROWID;
CREATE TABLE symbols(
    id INTEGER PRIMARY KEY,
    symbol TEXT NOT NULL UNIQUE,
    name TEXT NOT NULL,
    market INTEGER NOT NULL,
    grp INTEGER NOT NULL,
    sector INTEGER NOT NULL,
    industry INTEGER NOT NULL,
    watchlists INTEGER NOT NULL DEFAULT 0, -- bit n set: a member of watch list n
    bar_count INTEGER NOT NULL DEFAULT 0,
    first_date INTEGER,
    last_date INTEGER);
CREATE TABLE watchlists(
    number INTEGER PRIMARY KEY CHECK (number BETWEEN 0 AND 63),
    name TEXT NOT NULL);
CREATE TABLE bars(
    symbol_id INTEGER NOT NULL REFERENCES symbols(id),
    year INTEGER NOT NULL,
    bar_count INTEGER NOT NULL,
    first_date INTEGER NOT NULL,
    last_date INTEGER NOT NULL,
    dates BLOB NOT NULL,  -- int32 days since 1970-01-01, ascending, little-endian
    open BLOB NOT NULL,   -- float64 per date, little-endian
    high BLOB NOT NULL,
    low BLOB NOT NULL,
    close BLOB NOT NULL,
    volume BLOB NOT NULL,
    open_int BLOB,        -- NULL when the year has no open interest
    PRIMARY KEY (symbol_id, year));
CREATE TABLE trading_dates(date INTEGER PRIMARY KEY);
)";

constexpr std::array<std::string_view, kCategoryKindCount> kCategoryWords{"market", "group",
                                                                          "sector", "industry"};
constexpr std::array<std::string_view, kCategoryKindCount> kCategoryPlurals{
    "markets", "groups", "sectors", "industries"};
constexpr std::array<int, kCategoryKindCount> kCategoryLimits{256, 256, 64, 256};

using CategoryTables = std::array<std::vector<std::string>, kCategoryKindCount>;

[[noreturn]] void Throw(ProblemKind kind, const fs::path& file, std::string what) {
    throw ProblemError(kind, Place::InFile(Utf8Path(file)), std::move(what));
}

[[noreturn]] void Damaged(const Connection& db, const std::string& what) {
    Throw(ProblemKind::Failure, db.file(), "the quote store is damaged: " + what);
}

// Checks that the file is a quote store of a layout this program reads; false when the file
// is still empty (no layout yet).
bool CheckLayout(Connection& db) {
    const std::int64_t application = db.QueryInt("PRAGMA application_id");
    const std::int64_t version = db.QueryInt("PRAGMA user_version");
    if (application == 0 && version == 0 &&
        db.QueryInt("SELECT count(*) FROM sqlite_schema") == 0) {
        return false;
    }
    if (application != kApplicationId) {
        Throw(ProblemKind::Failure, db.file(),
              "the file is an SQLite database of another program, not a Marlindex quote store");
    }
    if (version > kLayoutVersion) {
        Throw(ProblemKind::Failure, db.file(),
              "the quote store was written by a newer Marlindex (layout " +
                  std::to_string(version) + "); this one reads layout " +
                  std::to_string(kLayoutVersion));
    }
    return true;
}

CategoryTables ReadCategories(Connection& db) {
    CategoryTables tables;
    Statement query = db.Prepare("SELECT kind, number, name FROM categories");
    while (query.Step()) {
        const std::int64_t kind = query.Int(0);
        const std::int64_t number = query.Int(1);
        if (kind < 0 || kind >= static_cast<std::int64_t>(kCategoryKindCount) || number < 0 ||
            number >= kCategoryLimits[static_cast<std::size_t>(kind)]) {
            Damaged(db, "a category numbered " + std::to_string(number));
        }
        auto& names = tables[static_cast<std::size_t>(kind)];
        if (static_cast<std::size_t>(number) >= names.size()) {
            names.resize(static_cast<std::size_t>(number) + 1);
        }
        names[static_cast<std::size_t>(number)] = query.Text(2);
    }
    return tables;
}

// The columns every symbol query selects, in this order.
constexpr std::string_view kSymbolColumns =
    "id, symbol, name, market, grp, sector, industry, watchlists, bar_count";

SymbolInfo ReadSymbolInfo(const Statement& row, const CategoryTables& categories) {
    SymbolInfo info;
    info.symbol = row.Text(1);
    info.name = row.Text(2);
    const auto category = [&](CategoryKind kind, int column, std::string& name, int& number) {
        number = static_cast<int>(row.Int(column));
        const auto& names = categories[static_cast<std::size_t>(kind)];
        name = number >= 0 && static_cast<std::size_t>(number) < names.size()
                   ? names[static_cast<std::size_t>(number)]
                   : std::string();
    };
    category(CategoryKind::Market, 3, info.market, info.marketId);
    category(CategoryKind::Group, 4, info.group, info.groupId);
    category(CategoryKind::Sector, 5, info.sector, info.sectorId);
    category(CategoryKind::Industry, 6, info.industry, info.industryId);
    info.watchLists = std::bitset<kWatchListCount>(static_cast<std::uint64_t>(row.Int(7)));
    return info;
}

template <typename T>
void AppendColumn(const Connection& db, std::vector<T>& column, std::span<const std::byte> blob,
                  std::size_t count) {
    if (blob.size() != count * sizeof(T)) {
        Damaged(db, "a column of bars has the wrong size");
    }
    const std::size_t old = column.size();
    column.resize(old + count);
    if (count > 0) {
        std::memcpy(column.data() + old, blob.data(), blob.size());
    }
}

constexpr const char* kSelectChunks =
    "SELECT bar_count, dates, open, high, low, close, volume, open_int FROM bars "
    "WHERE symbol_id = ?1 ORDER BY year";

// Appends the rows a chunk query returns (kSelectChunks' columns) to `bars`.
void AppendChunks(const Connection& db, Statement& chunks, BarSeries& bars) {
    while (chunks.Step()) {
        const auto count = static_cast<std::size_t>(chunks.Int(0));
        AppendColumn(db, bars.dates, chunks.Blob(1), count);
        AppendColumn(db, bars.open, chunks.Blob(2), count);
        AppendColumn(db, bars.high, chunks.Blob(3), count);
        AppendColumn(db, bars.low, chunks.Blob(4), count);
        AppendColumn(db, bars.close, chunks.Blob(5), count);
        AppendColumn(db, bars.volume, chunks.Blob(6), count);
        if (chunks.IsNull(7)) {
            bars.openInt.resize(bars.openInt.size() + count, 0.0);
        } else {
            AppendColumn(db, bars.openInt, chunks.Blob(7), count);
        }
    }
    chunks.Reset();
}

void ClearBars(BarSeries& bars, std::size_t expected) {
    for (auto* column :
         {&bars.open, &bars.high, &bars.low, &bars.close, &bars.volume, &bars.openInt}) {
        column->clear();
        column->reserve(expected);
    }
    bars.dates.clear();
    bars.dates.reserve(expected);
}

void ReadBars(Connection& db, Statement& chunks, std::int64_t id, std::size_t expected,
              BarSeries& bars) {
    ClearBars(bars, expected);
    chunks.Bind(1, id);
    AppendChunks(db, chunks, bars);
    if (bars.size() != expected) {
        Damaged(db, "a symbol's bar count does not match its bars");
    }
}

int YearOf(TradeDate date) {
    const std::chrono::year_month_day day{std::chrono::sys_days{std::chrono::days{date}}};
    return static_cast<int>(day.year());
}

void AppendBar(BarSeries& to, const BarSeries& from, std::size_t i) {
    to.dates.push_back(from.dates[i]);
    to.open.push_back(from.open[i]);
    to.high.push_back(from.high[i]);
    to.low.push_back(from.low[i]);
    to.close.push_back(from.close[i]);
    to.volume.push_back(from.volume[i]);
    to.openInt.push_back(from.openInt[i]);
}

std::size_t CheckedWatchList(int number) {
    if (number < 0 || number >= static_cast<int>(kWatchListCount)) {
        throw ProblemError(ProblemKind::BadInput, Place{},
                           "the watch list " + std::to_string(number) +
                               " is not a number from 0 to 63");
    }
    return static_cast<std::size_t>(number);
}

} // namespace

int CategoryLimit(CategoryKind kind) {
    return kCategoryLimits[static_cast<std::size_t>(kind)];
}

std::string_view CategoryWord(CategoryKind kind) {
    return kCategoryWords[static_cast<std::size_t>(kind)];
}

std::optional<std::size_t> QuoteSnapshot::Find(std::string_view symbol) const {
    const auto found = std::lower_bound(
        symbols.begin(), symbols.end(), symbol,
        [](const SymbolInfo& info, std::string_view wanted) { return info.symbol < wanted; });
    if (found == symbols.end() || found->symbol != symbol) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - symbols.begin());
}

struct QuoteStore::Impl {
    Impl(const fs::path& file, Connection::Mode mode) : db(file, mode) {}
    Connection db;
};

QuoteStore::QuoteStore(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
QuoteStore::QuoteStore(QuoteStore&&) noexcept = default;
QuoteStore& QuoteStore::operator=(QuoteStore&&) noexcept = default;
QuoteStore::~QuoteStore() = default;

fs::path QuoteStore::FileIn(const fs::path& databaseFolder) {
    return databaseFolder / kQuoteStoreFileName;
}

Result<QuoteStore> QuoteStore::Open(const fs::path& databaseFolder) {
    return CatchProblem([&] {
        const fs::path file = FileIn(databaseFolder);
        std::error_code ignored;
        if (!fs::exists(file, ignored)) {
            Throw(ProblemKind::BadInput, databaseFolder,
                  "no quote store (" + std::string(kQuoteStoreFileName) +
                      ") in this folder; import quotes first");
        }
        // Read-write even for reading: after a crash, the first connection must be able to
        // roll the journal back. SQLite falls back to reading only when the file cannot be
        // written.
        auto impl = std::make_unique<Impl>(file, Connection::Mode::ReadWrite);
        if (!CheckLayout(impl->db)) {
            Throw(ProblemKind::BadInput, file, "the quote store is empty; import quotes first");
        }
        return QuoteStore(std::move(impl));
    });
}

Result<QuoteStore> QuoteStore::OpenOrCreate(const fs::path& databaseFolder) {
    return CatchProblem([&] { return Create(databaseFolder); });
}

QuoteStore QuoteStore::Create(const fs::path& databaseFolder) {
    auto impl = std::make_unique<Impl>(FileIn(databaseFolder), Connection::Mode::Create);
    Connection& db = impl->db;
    if (!CheckLayout(db)) {
        // 64 KiB pages hold several of a symbol's years of bars each, so a full load reads few
        // pages and the file has little slack (docs/engine.md).
        db.Execute("PRAGMA page_size = 65536");
        Transaction transaction(db);
        db.Execute(kSchema);
        db.Execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
        db.Execute(("PRAGMA user_version = " + std::to_string(kLayoutVersion)).c_str());
        transaction.Commit();
    }
    return QuoteStore(std::move(impl));
}

std::vector<SymbolSummary> QuoteStore::List() const {
    std::vector<SymbolSummary> list;
    Statement query = impl_->db.Prepare(
        "SELECT symbol, bar_count, first_date, last_date FROM symbols ORDER BY symbol");
    while (query.Step()) {
        SymbolSummary summary;
        summary.symbol = query.Text(0);
        summary.bars = static_cast<std::size_t>(query.Int(1));
        if (!query.IsNull(2)) {
            summary.first = static_cast<TradeDate>(query.Int(2));
            summary.last = static_cast<TradeDate>(query.Int(3));
        }
        list.push_back(std::move(summary));
    }
    return list;
}

std::vector<SymbolInfo> QuoteStore::Symbols() const {
    const CategoryTables categories = ReadCategories(impl_->db);
    Statement query = impl_->db.Prepare("SELECT " + std::string(kSymbolColumns) +
                                        " FROM symbols ORDER BY symbol");
    std::vector<SymbolInfo> symbols;
    while (query.Step()) {
        symbols.push_back(ReadSymbolInfo(query, categories));
    }
    return symbols;
}

std::optional<BarSeries> QuoteStore::LoadSeries(std::string_view symbol) const {
    Connection& db = impl_->db;
    Statement find = db.Prepare("SELECT id, bar_count FROM symbols WHERE symbol = ?1");
    find.Bind(1, symbol);
    if (!find.Step()) {
        return std::nullopt;
    }
    Statement chunks = db.Prepare(kSelectChunks);
    BarSeries bars;
    ReadBars(db, chunks, find.Int(0), static_cast<std::size_t>(find.Int(1)), bars);
    return bars;
}

std::vector<TradeDate> QuoteStore::TradingDates() const {
    std::vector<TradeDate> dates;
    dates.reserve(
        static_cast<std::size_t>(impl_->db.QueryInt("SELECT count(*) FROM trading_dates")));
    Statement query = impl_->db.Prepare("SELECT date FROM trading_dates ORDER BY date");
    while (query.Step()) {
        dates.push_back(static_cast<TradeDate>(query.Int(0)));
    }
    return dates;
}

std::vector<std::string> QuoteStore::CategoryNames(CategoryKind kind) const {
    return ReadCategories(impl_->db)[static_cast<std::size_t>(kind)];
}

std::array<std::string, kWatchListCount> QuoteStore::WatchListNames() const {
    std::array<std::string, kWatchListCount> names;
    Statement query = impl_->db.Prepare("SELECT number, name FROM watchlists");
    while (query.Step()) {
        names[CheckedWatchList(static_cast<int>(query.Int(0)))] = query.Text(1);
    }
    return names;
}

struct QuoteStore::Cursor::State {
    explicit State(Connection& connection)
        : db(connection), categories(ReadCategories(connection)),
          symbols(connection.Prepare("SELECT " + std::string(kSymbolColumns) +
                                     " FROM symbols ORDER BY symbol")),
          chunks(connection.Prepare(kSelectChunks)),
          total(static_cast<std::size_t>(connection.QueryInt("SELECT count(*) FROM symbols"))) {}
    Connection& db;
    CategoryTables categories;
    Statement symbols;
    Statement chunks;
    std::size_t total;
};

QuoteStore::Cursor::Cursor(std::unique_ptr<State> state) : state_(std::move(state)) {}
QuoteStore::Cursor::Cursor(Cursor&&) noexcept = default;
QuoteStore::Cursor::~Cursor() = default;

bool QuoteStore::Cursor::Next(SymbolInfo& info, BarSeries& bars) {
    State& state = *state_;
    if (!state.symbols.Step()) {
        return false;
    }
    info = ReadSymbolInfo(state.symbols, state.categories);
    ReadBars(state.db, state.chunks, state.symbols.Int(0),
             static_cast<std::size_t>(state.symbols.Int(8)), bars);
    return true;
}

std::size_t QuoteStore::Cursor::total() const {
    return state_->total;
}

struct QuoteStore::ReadScope::State {
    explicit State(Connection& db) : read(db, Transaction::Kind::Read) {}
    Transaction read;
};

QuoteStore::ReadScope::ReadScope(std::unique_ptr<State> state) : state_(std::move(state)) {}
QuoteStore::ReadScope::ReadScope(ReadScope&&) noexcept = default;
QuoteStore::ReadScope::~ReadScope() = default;

QuoteStore::ReadScope QuoteStore::KeepConsistent() const {
    return ReadScope(std::make_unique<ReadScope::State>(impl_->db));
}

QuoteStore::Cursor QuoteStore::Series() const {
    return Cursor(std::make_unique<Cursor::State>(impl_->db));
}

std::optional<QuoteSnapshot> QuoteStore::LoadForAnalysis(const ProgressFunction& progress) const {
    // One read transaction, so that an import committing meanwhile cannot mix two states.
    const Transaction read(impl_->db, Transaction::Kind::Read);

    QuoteSnapshot snapshot;
    snapshot.tradingDates = TradingDates();
    BreadthBuilder breadth(snapshot.tradingDates);
    Cursor cursor = Series();
    snapshot.symbols.reserve(cursor.total());
    snapshot.series.reserve(cursor.total());
    SymbolInfo info;
    BarSeries bars;
    while (cursor.Next(info, bars)) {
        breadth.Add(info.marketId, bars);
        snapshot.symbols.push_back(std::move(info));
        snapshot.series.push_back(std::move(bars));
        info = SymbolInfo{};
        bars = BarSeries{};
        if (progress && !progress(snapshot.symbols.size(), cursor.total())) {
            return std::nullopt;
        }
    }
    snapshot.breadth = std::move(breadth).Finish();
    return snapshot;
}

std::vector<MarketBreadth> QuoteStore::ComputeBreadth() const {
    BreadthBuilder breadth(TradingDates());
    Cursor cursor = Series();
    SymbolInfo info;
    BarSeries bars;
    while (cursor.Next(info, bars)) {
        breadth.Add(info.marketId, bars);
    }
    return std::move(breadth).Finish();
}

std::size_t QuoteStore::ChangeWatchListOrThrow(int number, const std::vector<std::string>& symbols,
                                               bool add) {
    const std::size_t bit = CheckedWatchList(number);
    Connection& db = impl_->db;
    Transaction transaction(db);
    Statement find = db.Prepare("SELECT id, watchlists FROM symbols WHERE symbol = ?1");
    Statement update = db.Prepare("UPDATE symbols SET watchlists = ?2 WHERE id = ?1");
    std::size_t changed = 0;
    for (const std::string& symbol : symbols) {
        find.Bind(1, symbol);
        if (!find.Step()) {
            throw ProblemError(ProblemKind::BadInput, Place{},
                               "the quote store has no symbol " + QuoteExcerpt(symbol));
        }
        const std::int64_t id = find.Int(0);
        std::bitset<kWatchListCount> lists(static_cast<std::uint64_t>(find.Int(1)));
        find.Reset();
        if (lists.test(bit) != add) {
            lists.set(bit, add);
            update.Bind(1, id).Bind(2, static_cast<std::int64_t>(lists.to_ullong())).Run();
            ++changed;
        }
    }
    transaction.Commit();
    return changed;
}

Result<std::size_t> QuoteStore::AddToWatchList(int number,
                                               const std::vector<std::string>& symbols) {
    return CatchProblem([&] { return ChangeWatchListOrThrow(number, symbols, true); });
}

Result<std::size_t> QuoteStore::RemoveFromWatchList(int number,
                                                    const std::vector<std::string>& symbols) {
    return CatchProblem([&] { return ChangeWatchListOrThrow(number, symbols, false); });
}

Result<void> QuoteStore::NameWatchList(int number, std::string_view name) {
    return CatchProblem([&] { NameWatchListOrThrow(number, name); });
}

void QuoteStore::NameWatchListOrThrow(int number, std::string_view name) {
    const std::size_t list = CheckedWatchList(number);
    Connection& db = impl_->db;
    Transaction transaction(db);
    if (name.empty()) {
        db.Prepare("DELETE FROM watchlists WHERE number = ?1")
            .Bind(1, static_cast<std::int64_t>(list))
            .Run();
    } else {
        db.Prepare("INSERT OR REPLACE INTO watchlists(number, name) VALUES (?1, ?2)")
            .Bind(1, static_cast<std::int64_t>(list))
            .Bind(2, name)
            .Run();
    }
    transaction.Commit();
}

struct QuoteStore::Writer::State {
    explicit State(Connection& connection)
        : db(connection), transaction(connection),
          insertSymbol(db.Prepare("INSERT INTO symbols(symbol, name, market, grp, sector, "
                                  "industry, watchlists) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)")),
          updateSymbol(db.Prepare("UPDATE symbols SET name = ?2, market = ?3, "
                                  "grp = coalesce(?4, grp), sector = ?5, industry = ?6, "
                                  "watchlists = coalesce(?7, watchlists) WHERE id = ?1")),
          insertCategory(
              db.Prepare("INSERT INTO categories(kind, number, name) VALUES (?1, ?2, ?3)")),
          selectChunk(db.Prepare(
              "SELECT bar_count, dates, open, high, low, close, volume, open_int FROM bars "
              "WHERE symbol_id = ?1 AND year = ?2")),
          writeChunk(db.Prepare(
              "INSERT OR REPLACE INTO bars(symbol_id, year, bar_count, first_date, last_date, "
              "dates, open, high, low, close, volume, open_int) "
              "VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)")),
          updateCounts(db.Prepare(
              "UPDATE symbols SET (bar_count, first_date, last_date) = "
              "(SELECT coalesce(sum(bar_count), 0), min(first_date), max(last_date) FROM bars "
              "WHERE symbol_id = ?1) WHERE id = ?1")) {
        Statement ids = db.Prepare("SELECT symbol, id FROM symbols");
        while (ids.Step()) {
            symbolIds.emplace(ids.Text(0), ids.Int(1));
        }
        const CategoryTables tables = ReadCategories(db);
        for (std::size_t kind = 0; kind < kCategoryKindCount; ++kind) {
            for (std::size_t number = 0; number < tables[kind].size(); ++number) {
                categoryNumbers[kind].emplace(tables[kind][number], static_cast<int>(number));
            }
            nextNumber[kind] = static_cast<int>(tables[kind].size());
        }
    }

    int Number(CategoryKind kind, const std::string& name) {
        const auto k = static_cast<std::size_t>(kind);
        const auto found = categoryNumbers[k].find(name);
        if (found != categoryNumbers[k].end()) {
            return found->second;
        }
        if (nextNumber[k] >= kCategoryLimits[k]) {
            throw ProblemError(ProblemKind::BadInput, Place{},
                               "the " + std::string(kCategoryWords[k]) + " " + QuoteExcerpt(name) +
                                   " would be one too many: a quote store holds at most " +
                                   std::to_string(kCategoryLimits[k]) + " " +
                                   std::string(kCategoryPlurals[k]));
        }
        const int number = nextNumber[k]++;
        insertCategory.Bind(1, static_cast<std::int64_t>(k))
            .Bind(2, static_cast<std::int64_t>(number))
            .Bind(3, name)
            .Run();
        categoryNumbers[k].emplace(name, number);
        return number;
    }

    std::optional<std::int64_t> Find(std::string_view symbol) const {
        const auto found = symbolIds.find(std::string(symbol));
        return found == symbolIds.end() ? std::nullopt : std::optional(found->second);
    }

    struct Categories {
        std::int64_t market, group, sector, industry;
    };
    Categories NoCategories() {
        const auto none = [this](CategoryKind kind) {
            return static_cast<std::int64_t>(Number(kind, ""));
        };
        return {none(CategoryKind::Market), none(CategoryKind::Group), none(CategoryKind::Sector),
                none(CategoryKind::Industry)};
    }

    std::int64_t Create(std::string_view symbol, std::string_view name, const Categories& in,
                        std::int64_t watchLists) {
        insertSymbol.Bind(1, symbol).Bind(2, name).Bind(3, in.market).Bind(4, in.group);
        insertSymbol.Bind(5, in.sector).Bind(6, in.industry).Bind(7, watchLists).Run();
        const std::int64_t id = db.LastInsertId();
        symbolIds.emplace(std::string(symbol), id);
        return id;
    }

    void WriteChunk(std::int64_t id, int year, const BarSeries& bars, std::size_t from,
                    std::size_t to) {
        const std::size_t count = to - from;
        const auto blob = [&](int index, const auto& column) {
            writeChunk.BindBlob(index, column.data() + from, count * sizeof(column.front()));
        };
        writeChunk.Bind(1, id).Bind(2, static_cast<std::int64_t>(year));
        writeChunk.Bind(3, static_cast<std::int64_t>(count));
        writeChunk.Bind(4, static_cast<std::int64_t>(bars.dates[from]));
        writeChunk.Bind(5, static_cast<std::int64_t>(bars.dates[to - 1]));
        blob(6, bars.dates);
        blob(7, bars.open);
        blob(8, bars.high);
        blob(9, bars.low);
        blob(10, bars.close);
        blob(11, bars.volume);
        const bool hasOpenInt =
            std::any_of(bars.openInt.begin() + static_cast<std::ptrdiff_t>(from),
                        bars.openInt.begin() + static_cast<std::ptrdiff_t>(to),
                        [](double value) { return value != 0; });
        if (hasOpenInt) {
            blob(12, bars.openInt);
        } else {
            writeChunk.BindNull(12);
        }
        writeChunk.Run();
    }

    Connection& db;
    Transaction transaction;
    Statement insertSymbol;
    Statement updateSymbol;
    Statement insertCategory;
    Statement selectChunk;
    Statement writeChunk;
    Statement updateCounts;
    std::unordered_map<std::string, std::int64_t> symbolIds;
    std::array<std::unordered_map<std::string, int>, kCategoryKindCount> categoryNumbers;
    std::array<int, kCategoryKindCount> nextNumber{};
    std::vector<TradeDate> dates; // every date imported, ascending, once
};

QuoteStore::Writer::Writer(std::unique_ptr<State> state) : state_(std::move(state)) {}
QuoteStore::Writer::Writer(Writer&&) noexcept = default;
QuoteStore::Writer::~Writer() = default;

QuoteStore::Writer QuoteStore::BeginChanges() {
    return Writer(std::make_unique<Writer::State>(impl_->db));
}

bool QuoteStore::Writer::SetSymbol(const SymbolRow& row) {
    State& state = *state_;
    const auto number = [&](CategoryKind kind, const std::string& name) {
        return static_cast<std::int64_t>(state.Number(kind, name));
    };
    const std::int64_t market = number(CategoryKind::Market, row.market);
    const std::int64_t sector = number(CategoryKind::Sector, row.sector);
    const std::int64_t industry = number(CategoryKind::Industry, row.industry);
    const std::optional<std::int64_t> group =
        row.group ? std::optional(number(CategoryKind::Group, *row.group)) : std::nullopt;
    const std::optional<std::int64_t> lists =
        row.watchLists ? std::optional(static_cast<std::int64_t>(row.watchLists->to_ullong()))
                       : std::nullopt;

    const std::optional<std::int64_t> id = state.Find(row.symbol);
    if (!id) {
        // A new symbol without a Group column is in the group "" (no group).
        const std::int64_t newGroup = group ? *group : number(CategoryKind::Group, "");
        state.Create(row.symbol, row.name, {market, newGroup, sector, industry}, lists.value_or(0));
        return true;
    }
    // Columns the file does not have keep what the store holds.
    Statement& update = state.updateSymbol;
    update.Bind(1, *id).Bind(2, row.name).Bind(3, market).Bind(5, sector).Bind(6, industry);
    group ? update.Bind(4, *group) : update.BindNull(4);
    lists ? update.Bind(7, *lists) : update.BindNull(7);
    update.Run();
    return false;
}

QuoteStore::Writer::Merge QuoteStore::Writer::MergeBars(std::string_view symbol,
                                                        const BarSeries& bars) {
    State& state = *state_;
    Merge merge;
    std::optional<std::int64_t> known = state.Find(symbol);
    merge.newSymbol = !known;
    // A symbol that only has a price file has no name and no categories.
    const std::int64_t id = known ? *known : state.Create(symbol, "", state.NoCategories(), 0);
    std::size_t from = 0;
    while (from < bars.size()) {
        const int year = YearOf(bars.dates[from]);
        std::size_t to = from + 1;
        while (to < bars.size() && YearOf(bars.dates[to]) == year) {
            ++to;
        }
        BarSeries stored;
        state.selectChunk.Bind(1, id).Bind(2, static_cast<std::int64_t>(year));
        AppendChunks(state.db, state.selectChunk, stored);
        if (stored.size() == 0) {
            state.WriteChunk(id, year, bars, from, to);
            merge.added += to - from;
        } else {
            // Both lists ascend; a new bar wins over a stored one of the same date.
            BarSeries merged;
            ClearBars(merged, stored.size() + (to - from));
            std::size_t i = 0;
            std::size_t j = from;
            while (i < stored.size() || j < to) {
                if (j == to || (i < stored.size() && stored.dates[i] < bars.dates[j])) {
                    AppendBar(merged, stored, i++);
                    continue;
                }
                if (i < stored.size() && stored.dates[i] == bars.dates[j]) {
                    ++i;
                    ++merge.replaced;
                } else {
                    ++merge.added;
                }
                AppendBar(merged, bars, j++);
            }
            state.WriteChunk(id, year, merged, 0, merged.size());
        }
        from = to;
    }
    state.updateCounts.Bind(1, id).Run();

    std::vector<TradeDate> dates;
    dates.reserve(state.dates.size() + bars.size());
    std::set_union(state.dates.begin(), state.dates.end(), bars.dates.begin(), bars.dates.end(),
                   std::back_inserter(dates));
    state.dates = std::move(dates);
    return merge;
}

void QuoteStore::Writer::Commit() {
    State& state = *state_;
    Statement insert = state.db.Prepare("INSERT OR IGNORE INTO trading_dates(date) VALUES (?1)");
    for (const TradeDate date : state.dates) {
        insert.Bind(1, static_cast<std::int64_t>(date)).Run();
    }
    state.transaction.Commit();
}

} // namespace marlindex
