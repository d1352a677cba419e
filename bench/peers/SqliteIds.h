#pragma once

#include <cstdint>
#include <string>

#include "bench/peers/IdLog.h"

struct sqlite3;
struct sqlite3_stmt;

namespace xel::bench {

/// The ids in an SQLite table (WAL, synchronous NORMAL, exclusive locking, prepared statements). Throws
/// std::runtime_error with SQLite's own text.
class SqliteIds final : public IdLog {
public:
    /// A library that has acknowledged the message already, or does so next, leaves a team nothing but a
    /// transaction for each id. Who writes the acknowledgements himself commits a turn at once.
    enum class Commit { EachId, EachTurn };

    SqliteIds(const std::string& path, Commit commit);
    ~SqliteIds() override;
    SqliteIds(const SqliteIds&) = delete;
    SqliteIds& operator=(const SqliteIds&) = delete;

    bool addNew(const std::string& id) override;
    void commit() override;

private:
    void check(int result) const;
    void run(const char* sql);
    sqlite3_stmt* prepare(const char* sql);
    void step(sqlite3_stmt* statement);

    Commit commit_;
    bool inTransaction_ = false;
    sqlite3* database_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
    sqlite3_stmt* trim_ = nullptr;
    sqlite3_stmt* begin_ = nullptr;
    sqlite3_stmt* end_ = nullptr;
    std::int64_t next_ = 0;  // a run starts with an empty table
};

}  // namespace xel::bench
