#include "quotes/Sqlite.h"

#include "startup/Problem.h"

#include <sqlite3.h>

namespace marlindex::sqlite {

Connection::Connection(const std::filesystem::path& file, Mode mode) : file_(file) {
    int flags = SQLITE_OPEN_NOMUTEX;
    switch (mode) {
    case Mode::ReadOnly:
        flags |= SQLITE_OPEN_READONLY;
        break;
    case Mode::ReadWrite:
        flags |= SQLITE_OPEN_READWRITE;
        break;
    case Mode::Create:
        flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
        break;
    }
    const int code = sqlite3_open_v2(Utf8Path(file).c_str(), &db_, flags, nullptr);
    if (code != SQLITE_OK) {
        const std::string message = db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(code);
        sqlite3_close(db_);
        db_ = nullptr;
        throw ProblemError(ProblemKind::Failure, Place::InFile(Utf8Path(file)),
                           "cannot open: " + message);
    }
    sqlite3_extended_result_codes(db_, 1);
    // Another program (or a second marlindex-cli) may hold the store for a moment.
    sqlite3_busy_timeout(db_, 5000);
}

Connection::~Connection() {
    sqlite3_close(db_);
}

void Connection::Fail(int code, std::string_view doing) const {
    const int primary = code & 0xFF;
    std::string message = std::string(doing) + ": " + sqlite3_errmsg(db_);
    if (primary == SQLITE_NOTADB || primary == SQLITE_CORRUPT) {
        message += " (the file is not a Marlindex quote database, or it is damaged)";
    }
    throw ProblemError(ProblemKind::Failure, Place::InFile(Utf8Path(file_)), message);
}

void Connection::Execute(const char* sql) {
    const int code = sqlite3_exec(db_, sql, nullptr, nullptr, nullptr);
    if (code != SQLITE_OK) {
        Fail(code, "cannot run " + std::string(sql).substr(0, 40));
    }
}

Statement Connection::Prepare(std::string_view sql) {
    return Statement(*this, sql);
}

std::int64_t Connection::QueryInt(std::string_view sql, std::int64_t fallback) {
    Statement statement(*this, sql);
    return statement.Step() ? statement.Int(0) : fallback;
}

std::int64_t Connection::LastInsertId() const {
    return sqlite3_last_insert_rowid(db_);
}

Statement::Statement(Connection& connection, std::string_view sql) : connection_(&connection) {
    const int code = sqlite3_prepare_v2(connection.handle(), sql.data(),
                                        static_cast<int>(sql.size()), &statement_, nullptr);
    if (code != SQLITE_OK) {
        connection.Fail(code, "cannot prepare " + std::string(sql.substr(0, 40)));
    }
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

Statement::Statement(Statement&& other) noexcept
    : connection_(other.connection_), statement_(other.statement_) {
    other.statement_ = nullptr;
}

Statement& Statement::Bind(int index, std::int64_t value) {
    const int code = sqlite3_bind_int64(statement_, index, value);
    if (code != SQLITE_OK) {
        connection_->Fail(code, "cannot bind a value");
    }
    return *this;
}

Statement& Statement::Bind(int index, std::string_view text) {
    const int code = sqlite3_bind_text64(statement_, index, text.data(), text.size(),
                                         SQLITE_TRANSIENT, SQLITE_UTF8);
    if (code != SQLITE_OK) {
        connection_->Fail(code, "cannot bind a text");
    }
    return *this;
}

Statement& Statement::BindReal(int index, double value) {
    const int code = sqlite3_bind_double(statement_, index, value);
    if (code != SQLITE_OK) {
        connection_->Fail(code, "cannot bind a number");
    }
    return *this;
}

Statement& Statement::BindBlob(int index, const void* data, std::size_t size) {
    // SQLite reads a null pointer as NULL; an empty column must stay an (empty) blob.
    static const char kEmpty = 0;
    const int code =
        sqlite3_bind_blob64(statement_, index, size == 0 ? &kEmpty : data, size, SQLITE_STATIC);
    if (code != SQLITE_OK) {
        connection_->Fail(code, "cannot bind a blob");
    }
    return *this;
}

Statement& Statement::BindNull(int index) {
    const int code = sqlite3_bind_null(statement_, index);
    if (code != SQLITE_OK) {
        connection_->Fail(code, "cannot bind NULL");
    }
    return *this;
}

bool Statement::Step() {
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW) {
        return true;
    }
    if (code == SQLITE_DONE) {
        return false;
    }
    connection_->Fail(code, "cannot run " + std::string(sqlite3_sql(statement_)).substr(0, 40));
}

void Statement::Run() {
    Step();
    Reset();
}

void Statement::Reset() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

std::int64_t Statement::Int(int column) const {
    return sqlite3_column_int64(statement_, column);
}

double Statement::Real(int column) const {
    return sqlite3_column_double(statement_, column);
}

std::string Statement::Text(int column) const {
    const auto* text = sqlite3_column_text(statement_, column);
    const int size = sqlite3_column_bytes(statement_, column);
    return text == nullptr
               ? std::string()
               : std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::span<const std::byte> Statement::Blob(int column) const {
    const void* data = sqlite3_column_blob(statement_, column);
    const int size = sqlite3_column_bytes(statement_, column);
    if (data == nullptr) {
        return {};
    }
    return {static_cast<const std::byte*>(data), static_cast<std::size_t>(size)};
}

Transaction::Transaction(Connection& connection, Kind kind) : connection_(connection) {
    connection_.Execute(kind == Kind::Write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    if (open_) {
        // Nothing useful can be done if the rollback fails: SQLite then rolls the journal back
        // when the store is next opened.
        sqlite3_exec(connection_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::Commit() {
    connection_.Execute("COMMIT");
    open_ = false;
}

} // namespace marlindex::sqlite
