#include "XelPushClient/Linux/Store/SqliteStatement.h"

#include <cerrno>

#include <sqlite3.h>

namespace xel {

namespace {

bool hasFailedToRead(sqlite3* database) {
    int number = 0;
    return database != nullptr &&
           sqlite3_file_control(database, "main", SQLITE_FCNTL_LAST_ERRNO, &number) == SQLITE_OK &&
           (number == EIO || number == ENXIO);
}

}  // namespace

bool saysDamage(int code, sqlite3* database) {
    // Extended codes have the primary one in their lowest octet.
    const int primary = code & 0xff;
    return (primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB) && !hasFailedToRead(database);
}

void SqliteStatement::Finalize::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

int SqliteStatement::prepare(sqlite3* database, std::string_view sql) {
    sqlite3_stmt* statement = nullptr;
    const int result = sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()),
                                          SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    statement_.reset(statement);
    return result;
}

void SqliteStatement::bind(int index, std::int64_t value) {
    sqlite3_bind_int64(statement_.get(), index, value);
}

// An empty view may have no address, which SQLite would take for NULL.
void SqliteStatement::bindText(int index, std::string_view text) {
    sqlite3_bind_text64(statement_.get(), index, text.empty() ? "" : text.data(), text.size(), SQLITE_STATIC,
                        SQLITE_UTF8);
}

void SqliteStatement::bindOctets(int index, std::string_view octets) {
    sqlite3_bind_blob64(statement_.get(), index, octets.empty() ? "" : octets.data(), octets.size(),
                        SQLITE_STATIC);
}

int SqliteStatement::run() {
    // The reset answers the step's error, if there was one.
    (void)sqlite3_step(statement_.get());
    return sqlite3_reset(statement_.get());
}

int SqliteStatement::step() {
    return sqlite3_step(statement_.get());
}

int SqliteStatement::reset() {
    return sqlite3_reset(statement_.get());
}

std::int64_t SqliteStatement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

std::string_view SqliteStatement::octets(int column) const {
    // The octets first, then their count: the order that is safe
    // (https://sqlite.org/c3ref/column_blob.html).
    const auto* const octets = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
    const int count = sqlite3_column_bytes(statement_.get(), column);
    return octets == nullptr ? std::string_view() : std::string_view(octets, static_cast<std::size_t>(count));
}

}  // namespace xel
