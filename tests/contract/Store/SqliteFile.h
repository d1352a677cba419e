#pragma once

#include <string>

#include <gtest/gtest.h>
#include <sqlite3.h>

namespace xel::contract {

/// Runs statements on a database that nobody has open, the way another program would.
inline void executeOn(const std::string& path, const std::string& sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database);
    sqlite3_close(database);
}

}  // namespace xel::contract
