// A thin owner of SQLite's C API for the quote store: a connection, prepared statements and a
// transaction that rolls back unless committed. Every failure becomes a ProblemError that says
// what SQLite said, so no caller checks a return code by hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace marlindex::sqlite {

class Statement;

class Connection {
public:
    enum class Mode { ReadOnly, ReadWrite, Create };
    // Opens the file; Create makes it when missing. Throws ProblemError (Failure) when it cannot.
    Connection(const std::filesystem::path& file, Mode mode);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // Runs statements that return no rows.
    void Execute(const char* sql);
    Statement Prepare(std::string_view sql);
    // The integer the statement's first row holds in its first column (`fallback` without a row).
    std::int64_t QueryInt(std::string_view sql, std::int64_t fallback = 0);

    std::int64_t LastInsertId() const;
    sqlite3* handle() const { return db_; }
    const std::filesystem::path& file() const { return file_; }

    // Throws the ProblemError for SQLite result `code` while doing `doing`.
    [[noreturn]] void Fail(int code, std::string_view doing) const;

private:
    sqlite3* db_ = nullptr;
    std::filesystem::path file_;
};

class Statement {
public:
    Statement(Connection& connection, std::string_view sql);
    ~Statement();
    Statement(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    Statement& operator=(Statement&&) = delete;

    // Parameters are numbered from 1, as in SQLite.
    Statement& Bind(int index, std::int64_t value);
    Statement& Bind(int index, std::string_view text);
    Statement& BindReal(int index, double value);
    Statement& BindBlob(int index, const void* data, std::size_t size);
    Statement& BindNull(int index);

    // Steps once: true when a row is ready, false when the statement is done.
    bool Step();
    // Runs a statement that returns no row, then resets it for the next use.
    void Run();
    // Makes the statement ready to run again with new parameters.
    void Reset();

    std::int64_t Int(int column) const;
    double Real(int column) const;
    std::string Text(int column) const;
    bool IsNull(int column) const;
    std::span<const std::byte> Blob(int column) const;

private:
    Connection* connection_;
    sqlite3_stmt* statement_ = nullptr;
};

// A write transaction begins IMMEDIATE, so that a second writer waits here and never fails
// half-way; a read transaction only keeps what it reads consistent. Destruction rolls back
// unless Commit() ran (for a read that simply ends it).
class Transaction {
public:
    enum class Kind { Read, Write };
    explicit Transaction(Connection& connection, Kind kind = Kind::Write);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit();

private:
    Connection& connection_;
    bool open_ = true;
};

} // namespace marlindex::sqlite
