#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/Store/SqliteStatement.h"

namespace xel {

/// A database's file as it stands, which is read and never changed: without locks, without the logs beside
/// it, and as far as it goes where it is damaged. Nobody else may have it open. Results are SQLite's codes.
/// Thread: one.
class SqliteImage {
public:
    [[nodiscard]] int open(const std::string& path);

    /// Prepares a question of one table, whose text in the file must be this one where one is given:
    /// otherwise the statement stays unprepared, as it does where the tables cannot be read. Any other code
    /// than SQLITE_OK says that the machine failed.
    [[nodiscard]] int prepare(SqliteStatement& statement, std::string_view sql, std::string_view table = {});

    /// Whether a question could not be answered because of what is in the file, and not because of the
    /// machine.
    [[nodiscard]] bool saysDamage(int code) const;
    /// What SQLite said last.
    [[nodiscard]] std::string words() const;

private:
    struct Close {
        void operator()(sqlite3* database) const;
    };
    std::unique_ptr<sqlite3, Close> database_;
};
}  // namespace xel
