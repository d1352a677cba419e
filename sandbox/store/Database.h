#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace xel::sandbox {

/// When a database copies its write-ahead log back into its file, which waits for the disk.
enum class LogCopying { ByItself, WhenAsked };

/// One connection to an SQLite file (0600, write-ahead log). What it has written survives a killed process.
///
/// Thread: one at a time. Every operation throws SandboxError when the database fails.
class Database {
public:
    class Statement;

    explicit Database(const std::filesystem::path& file, LogCopying copying = LogCopying::ByItself);

    /// Runs statements that take no values and give no rows.
    void run(const char* statements);

    /// How many rows the last statement inserted, changed or removed.
    [[nodiscard]] std::int64_t changedRows() const;

private:
    [[noreturn]] void fail(const char* what) const;

    std::filesystem::path file_;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> connection_;
};

/// One statement, with its values bound in the order of the calls.
class Database::Statement {
public:
    Statement(const Database& database, const char* text);

    Statement& bind(std::string_view text);
    Statement& bind(std::int64_t number);
    Statement& bindNothing();
    /// Octets, which `text` of a row reads again.
    Statement& bindBytes(std::string_view bytes);

    /// Whether there is a row to read.
    bool step();
    /// Runs it to its end.
    void run();

    [[nodiscard]] bool isNothing(int column) const;
    [[nodiscard]] std::string text(int column) const;
    [[nodiscard]] std::int64_t number(int column) const;

private:
    void check(int outcome);

    const Database& database_;
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement_;
    int bound_{0};
};

}  // namespace xel::sandbox
