#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace xel {

/// Whether SQLite's code says that the file is damaged, or no database at all. SQLite says so of a disk, too,
/// that cannot be read; the next attempt may read it, so that this is no damage.
[[nodiscard]] bool saysDamage(int code, sqlite3* database);

/// One prepared statement, bound and run again and again. Octets that are bound stay the caller's and must
/// live until the statement has run. Results are SQLite's codes. Thread: the holder of the connection.
class SqliteStatement {
public:
    SqliteStatement() = default;

    /// SQLITE_OK, or why the statement could not be prepared.
    [[nodiscard]] int prepare(sqlite3* database, std::string_view sql);
    [[nodiscard]] bool isPrepared() const { return statement_ != nullptr; }

    void bind(int index, std::int64_t value);
    void bindText(int index, std::string_view text);
    void bindOctets(int index, std::string_view octets);

    /// Runs a statement without rows to its end and makes it ready for the next run.
    [[nodiscard]] int run();

    /// SQLITE_ROW, SQLITE_DONE or an error. After the last row, or to stop early, `reset`.
    [[nodiscard]] int step();
    int reset();

    [[nodiscard]] std::int64_t integer(int column) const;
    /// Valid until the next step or reset.
    [[nodiscard]] std::string_view octets(int column) const;

private:
    struct Finalize {
        void operator()(sqlite3_stmt* statement) const;
    };
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

}  // namespace xel
