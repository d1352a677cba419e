#include "bench/peers/SqliteIds.h"

#include <stdexcept>

#include <sqlite3.h>

namespace xel::bench {

namespace {

constexpr int kIdsRemembered = 25;
constexpr int kTrimEvery = 100;  // trimming now and then is the cheaper choice, and fair to the peers

}  // namespace

SqliteIds::SqliteIds(const std::string& path, Commit commit) : commit_(commit) {
    check(sqlite3_open(path.c_str(), &database_));
    // A connection that owns the file takes no lock for each commit, and small pages make small writes.
    // Its log is synchronised at checkpoints only.
    run("PRAGMA page_size=2048");
    run("PRAGMA locking_mode=EXCLUSIVE");
    run("PRAGMA journal_mode=WAL");
    run("PRAGMA synchronous=NORMAL");
    // One tree instead of a table and an index: half the pages that a commit writes.
    run("CREATE TABLE IF NOT EXISTS seen(id TEXT PRIMARY KEY, seq INTEGER NOT NULL) WITHOUT ROWID");
    insert_ = prepare("INSERT OR IGNORE INTO seen(id, seq) VALUES(?1, ?2)");
    trim_ = prepare("DELETE FROM seen WHERE seq <= ?1");
    begin_ = prepare("BEGIN");
    end_ = prepare("COMMIT");
}

SqliteIds::~SqliteIds() {
    for (sqlite3_stmt* statement : {insert_, trim_, begin_, end_}) {
        sqlite3_finalize(statement);
    }
    sqlite3_close(database_);
}

bool SqliteIds::addNew(const std::string& id) {
    if (commit_ == Commit::EachTurn && !inTransaction_) {
        step(begin_);
        inTransaction_ = true;
    }
    check(sqlite3_bind_text(insert_, 1, id.data(), static_cast<int>(id.size()), SQLITE_STATIC));
    check(sqlite3_bind_int64(insert_, 2, next_));
    step(insert_);
    if (sqlite3_changes(database_) == 0) {
        return false;
    }
    if (++next_ % kTrimEvery == 0) {
        check(sqlite3_bind_int64(trim_, 1, next_ - kIdsRemembered - 1));
        step(trim_);
    }
    return true;
}

void SqliteIds::commit() {
    if (inTransaction_) {
        step(end_);
        inTransaction_ = false;
    }
}

void SqliteIds::check(int result) const {
    if (result != SQLITE_OK) {
        throw std::runtime_error(sqlite3_errmsg(database_));
    }
}

void SqliteIds::run(const char* sql) {
    check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr));
}

sqlite3_stmt* SqliteIds::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
    return statement;
}

void SqliteIds::step(sqlite3_stmt* statement) {
    if (sqlite3_step(statement) != SQLITE_DONE) {
        throw std::runtime_error(sqlite3_errmsg(database_));
    }
    check(sqlite3_reset(statement));
}

}  // namespace xel::bench
