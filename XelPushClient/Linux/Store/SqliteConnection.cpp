#include "XelPushClient/Linux/Store/SqliteConnection.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>

#include <sqlite3.h>
#include <sys/stat.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreSchema.h"

namespace xel {
namespace {

/// "XelP": tells our files from other programs' (https://sqlite.org/pragma.html#pragma_application_id).
constexpr std::int64_t kApplicationId = 0x58656c50;

// A schema must not call functions: the file may have been tampered with (https://sqlite.org/security.html).
constexpr const char* kSetUp =
    "PRAGMA locking_mode=EXCLUSIVE;"
    "PRAGMA synchronous=FULL;"
    "PRAGMA temp_store=MEMORY;"
    "PRAGMA cache_size=-4096;"
    "PRAGMA trusted_schema=OFF;";

/// What a check tells of a page that could not be read names SQLite's code in words, and is no damage: the
/// next attempt may read it.
bool isReadFailure(std::string_view finding) {
    constexpr std::string_view kCode = "error code=";
    const auto at = finding.find(kCode);
    int code = 0;
    if (at != std::string_view::npos) {
        const std::string_view number = finding.substr(at + kCode.size());
        std::from_chars(number.data(), number.data() + number.size(), code);
    }
    return (code & 0xff) == SQLITE_IOERR;
}

/// A file of no octets beside a log of SQLite's that holds some has lost its contents: SQLite would take it
/// for a new one and delete the log. The first schema kept one.
bool hasLostItsContents(const std::string& path) {
    struct stat database {};
    struct stat log {};
    return stat(path.c_str(), &database) == 0 && database.st_size == 0 &&
           stat((path + "-wal").c_str(), &log) == 0 && log.st_size > 0;
}

std::string describeSystemError(sqlite3* database) {
    const int number = database != nullptr ? sqlite3_system_errno(database) : 0;
    return number != 0 ? ": " + std::generic_category().message(number) : std::string();
}

}  // namespace

void SqliteConnection::Close::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

SqliteConnection::~SqliteConnection() = default;

NSError SqliteConnection::errorFor(int code) const {
    const std::string cause = database_ ? sqlite3_errmsg(database_.get()) : sqlite3_errstr(code);
    const std::string detail = " (" + cause + ")";
    if (saysDamage(code, database_.get())) {
        return makeStoreError(StoreErrorCode::Damaged, "the store " + path_ + " is damaged" + detail);
    }
    switch (code & 0xff) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return makeStoreError(StoreErrorCode::InUse,
                                  "the store " + path_ + " is in use by another process");
        case SQLITE_FULL:
            return makeStoreError(StoreErrorCode::WriteFailed,
                                  "the store " + path_ + " cannot grow: the disk is full" + detail);
        case SQLITE_READONLY:
            return makeStoreError(StoreErrorCode::WriteFailed,
                                  "the store " + path_ + " cannot be written to" + detail);
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return makeStoreError(StoreErrorCode::CannotOpen,
                                  "the store " + path_ + " cannot be read" + detail);
        case SQLITE_CANTOPEN:
            return makeStoreError(StoreErrorCode::CannotOpen, "the store " + path_ + " cannot be opened (" +
                                                                  cause +
                                                                  describeSystemError(database_.get()) + ")");
        default: break;
    }
    return makeStoreError(StoreErrorCode::WriteFailed, "the store " + path_ + " failed" + detail);
}

int SqliteConnection::execute(const char* sql) {
    return sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
}

Result<std::int64_t> SqliteConnection::ask(const char* sql) {
    SqliteStatement question;
    int code = question.prepare(database_.get(), sql);
    if (code == SQLITE_OK) {
        code = question.step();
    }
    if (code != SQLITE_ROW) {
        return errorFor(code);
    }
    return question.integer(0);
}

Result<void> SqliteConnection::open(const std::string& path) {
    path_ = path;
    if (hasLostItsContents(path)) {
        return makeStoreError(StoreErrorCode::Damaged,
                              "the store " + path + " is damaged (the file is empty, its log is not)");
    }
    sqlite3* database = nullptr;
    // Not to be created here: the file is there, for the user alone, and what SQLite makes beside it gets the
    // same rights.
    // Without SQLite's mutex: the store sees to it that one thread at a time uses the connection.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    const int opened = sqlite3_open_v2(path.c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (opened != SQLITE_OK) {
        return errorFor(opened);
    }
    // SQLite opens what it may not write to for reading.
    if (sqlite3_db_readonly(database, "main") != 0) {
        database_.reset();
        return makeStoreError(StoreErrorCode::CannotOpen,
                              "the store " + path_ + " cannot be opened (it can only be read)");
    }
    auto ready = setUp();
    if (!ready) {
        close();
    }
    return ready;
}

void SqliteConnection::close() {
    // With statements it would stay open behind sqlite3_close_v2, and another file takes its place next.
    begin_ = {};
    commit_ = {};
    rollback_ = {};
    database_.reset();
}

Result<void> SqliteConnection::setUp() {
    int isSet = 0;
    sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, &isSet);
    if (const int code = execute(kSetUp); code != SQLITE_OK) {
        return errorFor(code);
    }
    if (auto schema = checkOrMakeSchema(); !schema) {
        return schema;
    }
    for (const auto& [statement, sql] : {std::pair(&begin_, "BEGIN IMMEDIATE"), std::pair(&commit_, "COMMIT"),
                                         std::pair(&rollback_, "ROLLBACK")}) {
        if (const int code = statement->prepare(database_.get(), sql); code != SQLITE_OK) {
            return errorFor(code);
        }
    }
    return {};
}

Result<void> SqliteConnection::checkOrMakeSchema() {
    const auto version = ask("PRAGMA user_version");
    if (!version) {
        return version.error();
    }
    const auto application = ask("PRAGMA application_id");
    if (!application) {
        return application.error();
    }
    const auto tables = ask("SELECT count(*) FROM sqlite_schema");
    if (!tables) {
        return tables.error();
    }
    const bool isNew = version.value() == 0 && application.value() == 0 && tables.value() == 0;
    if (!isNew && application.value() != kApplicationId) {
        return makeStoreError(StoreErrorCode::NotAStore,
                              "the file " + path_ + " is a database of another program; it is left as it is");
    }
    if (version.value() > kSchemaVersion) {
        return makeStoreError(StoreErrorCode::NewerSchema,
                              "the store " + path_ + " was written by a newer version (schema " +
                                  std::to_string(version.value()) + ", this one knows " +
                                  std::to_string(kSchemaVersion) + "); it is left as it is");
    }
    // Only now: it rewrites the file's header, and the file must be known as ours.
    if (const int code = execute("PRAGMA journal_mode=DELETE"); code != SQLITE_OK) {
        return errorFor(code);
    }
    isOld_ = !isNew && version.value() < kSchemaVersion;
    return isNew ? makeTables() : checkSoundness(version.value());
}

Result<void> SqliteConnection::makeTables() {
    std::string steps = "BEGIN IMMEDIATE;";
    for (const std::string_view table : kStoreTables) {
        steps.append(table).append(";");
    }
    steps += "PRAGMA application_id=" + std::to_string(kApplicationId) + ";";
    steps += "PRAGMA user_version=" + std::to_string(kSchemaVersion) + ";COMMIT";
    if (const int code = execute(steps.c_str()); code != SQLITE_OK) {
        auto error = errorFor(code);
        (void)execute("ROLLBACK");
        return error;
    }
    return {};
}

Result<void> SqliteConnection::checkSoundness(std::int64_t version) {
    SqliteStatement check;
    // Not the quick one: by an index that says something else than its table homes and clients would seem to
    // be new ones.
    int code = check.prepare(database_.get(), "PRAGMA integrity_check(1)");
    if (code == SQLITE_OK) {
        code = check.step();
    }
    if (code != SQLITE_ROW) {
        return errorFor(code);
    }
    if (isReadFailure(check.octets(0))) {
        return makeStoreError(StoreErrorCode::CannotOpen, "the store " + path_ + " cannot be read (" +
                                                              std::string(check.octets(0)) + ")");
    }
    if (check.octets(0) != "ok") {
        return makeStoreError(StoreErrorCode::Damaged,
                              "the store " + path_ + " is damaged (" + std::string(check.octets(0)) + ")");
    }
    return checkTables(version);
}

// A file without any table is sound, too. Of our own schema they must be ours to the letter: an octet of
// their texts may have changed as well.
Result<void> SqliteConnection::checkTables(std::int64_t version) {
    constexpr std::int64_t kTablesOfTheFirst = 3;
    std::int64_t missing =
        version == 1 ? kTablesOfTheFirst : static_cast<std::int64_t>(std::size(kStoreTables));
    SqliteStatement tables;
    int code = tables.prepare(database_.get(),
                              "SELECT sql FROM sqlite_schema WHERE type='table'"
                              " AND name IN ('defaults','clients','outbox','homes','journal')");
    for (code = code == SQLITE_OK ? tables.step() : code; code == SQLITE_ROW; code = tables.step()) {
        const bool isOurs = std::find(std::begin(kStoreTables), std::end(kStoreTables), tables.octets(0)) !=
                            std::end(kStoreTables);
        missing -= version < kSchemaVersion || isOurs ? 1 : 0;
    }
    if (code != SQLITE_DONE) {
        return errorFor(code);
    }
    return missing == 0 ? Result<void>()
                        : makeStoreError(StoreErrorCode::Damaged,
                                         "the store " + path_ + " is damaged (tables are missing)");
}

void SqliteConnection::giveUp() {
    // A full disk and some other errors have SQLite roll back by itself
    // (https://sqlite.org/lang_transaction.html).
    if (sqlite3_get_autocommit(database_.get()) == 0) {
        (void)rollback_.run();
    }
}

}  // namespace xel
