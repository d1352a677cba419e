#include "sandbox/store/Database.h"

#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {
namespace {

// Two processes meet in a file only while one of them opens it.
constexpr int kPatienceInMilliseconds = 2000;

constexpr const char* kSetUp =
    "PRAGMA journal_mode = WAL;"
    "PRAGMA synchronous = NORMAL;"
    "PRAGMA foreign_keys = ON;";

// SQLite would make it readable to everybody; its helper files take after it.
void makePrivate(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
        throw SandboxError("cannot open '" + file.string() + "': " + std::generic_category().message(errno));
    }
    ::close(descriptor);
}

}  // namespace

Database::Database(const std::filesystem::path& file, LogCopying copying)
    : file_(file), connection_(nullptr, &sqlite3_close) {
    makePrivate(file);
    sqlite3* connection = nullptr;
    const int outcome = sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
    connection_.reset(connection);
    if (outcome != SQLITE_OK) {
        fail("open");
    }
    sqlite3_busy_timeout(connection, kPatienceInMilliseconds);
    run(kSetUp);
    if (copying == LogCopying::WhenAsked) {
        sqlite3_wal_autocheckpoint(connection, 0);
    }
}

void Database::run(const char* statements) {
    if (sqlite3_exec(connection_.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail("use");
    }
}

std::int64_t Database::changedRows() const {
    return sqlite3_changes64(connection_.get());
}

void Database::fail(const char* what) const {
    throw SandboxError(std::string("cannot ") + what + " '" + file_.string() +
                       "': " + sqlite3_errmsg(connection_.get()));
}

Database::Statement::Statement(const Database& database, const char* text)
    : database_(database), statement_(nullptr, &sqlite3_finalize) {
    sqlite3_stmt* statement = nullptr;
    const int outcome = sqlite3_prepare_v2(database.connection_.get(), text, -1, &statement, nullptr);
    statement_.reset(statement);
    check(outcome);
}

Database::Statement& Database::Statement::bind(std::string_view text) {
    // A null pointer would bind no text at all instead of an empty one.
    const char* data = text.empty() ? "" : text.data();
    check(sqlite3_bind_text64(statement_.get(), ++bound_, data, text.size(), SQLITE_TRANSIENT, SQLITE_UTF8));
    return *this;
}

Database::Statement& Database::Statement::bind(std::int64_t number) {
    check(sqlite3_bind_int64(statement_.get(), ++bound_, number));
    return *this;
}

Database::Statement& Database::Statement::bindNothing() {
    check(sqlite3_bind_null(statement_.get(), ++bound_));
    return *this;
}

Database::Statement& Database::Statement::bindBytes(std::string_view bytes) {
    const char* data = bytes.empty() ? "" : bytes.data();
    check(sqlite3_bind_blob64(statement_.get(), ++bound_, data, bytes.size(), SQLITE_TRANSIENT));
    return *this;
}

bool Database::Statement::step() {
    const int outcome = sqlite3_step(statement_.get());
    if (outcome != SQLITE_ROW && outcome != SQLITE_DONE) {
        database_.fail("read or write");
    }
    return outcome == SQLITE_ROW;
}

void Database::Statement::run() {
    while (step()) {}
}

bool Database::Statement::isNothing(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

std::string Database::Statement::text(int column) const {
    const void* data = sqlite3_column_blob(statement_.get(), column);
    const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
    return length == 0 ? std::string() : std::string(static_cast<const char*>(data), length);
}

std::int64_t Database::Statement::number(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

void Database::Statement::check(int outcome) {
    if (outcome != SQLITE_OK) {
        database_.fail("read or write");
    }
}

}  // namespace xel::sandbox
