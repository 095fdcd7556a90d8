// The SQLite that the Windows build links: Debian's release, built for Windows, works on
// Windows files (a database in a folder with a drive letter, written and read back).
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <string>

namespace marlindex {
namespace {

TEST(WindowsSqlite, StoresAndReadsBackRowsInAFileOnADrive) {
    test::TempFolder folder;
    const std::string file = (folder / "quotes.db").string();
    ASSERT_EQ(file.substr(1, 2), ":\\") << file;

    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db,
                           "CREATE TABLE bars(symbol TEXT, close REAL);"
                           "BEGIN; INSERT INTO bars VALUES('MSFT', 27.5), ('MSFT', 28.25); COMMIT;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_close(db), SQLITE_OK);

    ASSERT_EQ(sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_stmt* sum = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT count(*), sum(close) FROM bars", -1, &sum, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_step(sum), SQLITE_ROW);
    EXPECT_EQ(sqlite3_column_int(sum, 0), 2);
    EXPECT_DOUBLE_EQ(sqlite3_column_double(sum, 1), 55.75);
    sqlite3_finalize(sum);
    sqlite3_close(db);
    EXPECT_TRUE(sqlite3_threadsafe());
}

} // namespace
} // namespace marlindex
