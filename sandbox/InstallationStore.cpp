#include "sandbox/InstallationStore.h"

#include <cstdint>
#include <utility>

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include "sandbox/SandboxError.h"
#include "sandbox/relay/RandomText.h"
#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {
namespace {

constexpr const char* kSchema =
    "PRAGMA journal_mode = WAL;"
    "CREATE TABLE IF NOT EXISTS installations ("
    " id TEXT PRIMARY KEY, record TEXT NOT NULL, created INTEGER NOT NULL, modified INTEGER NOT NULL)";

[[noreturn]] void fail(sqlite3* database, const std::string& what) {
    throw SandboxError("cannot " + what + " the installations: " + sqlite3_errmsg(database));
}

// The service's keys come first, whatever the client sent under them.
Json stamp(const std::string& id, const Json& record, std::int64_t created, std::int64_t modified) {
    Json stamped = Json{{"id", id}, {"created", created}, {"modified", modified}};
    for (const auto& [key, value] : record.items()) {
        if (!stamped.contains(key)) {
            stamped[key] = value;
        }
    }
    return stamped;
}

}  // namespace

// A prepared statement with its values bound in order.
class InstallationStore::Statement {
public:
    Statement(sqlite3* database, const char* sql) : database_(database) {
        if (sqlite3_prepare_v2(database, sql, -1, &statement_, nullptr) != SQLITE_OK) {
            fail(database, "read or write");
        }
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(const std::string& text) {
        check(sqlite3_bind_text(statement_, ++bound_, text.data(), static_cast<int>(text.size()),
                                SQLITE_TRANSIENT));
        return *this;
    }
    Statement& bind(std::int64_t number) {
        check(sqlite3_bind_int64(statement_, ++bound_, number));
        return *this;
    }

    // Whether there is a row to read.
    bool step() {
        const int outcome = sqlite3_step(statement_);
        if (outcome != SQLITE_ROW && outcome != SQLITE_DONE) {
            fail(database_, "read or write");
        }
        return outcome == SQLITE_ROW;
    }

    std::string text(int column) {
        const void* data = sqlite3_column_blob(statement_, column);
        const auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement_, column));
        return length == 0 ? std::string() : std::string(static_cast<const char*>(data), length);
    }
    std::int64_t number(int column) { return sqlite3_column_int64(statement_, column); }

private:
    void check(int outcome) {
        if (outcome != SQLITE_OK) {
            fail(database_, "write");
        }
    }

    sqlite3* database_;
    sqlite3_stmt* statement_{nullptr};
    int bound_{0};
};

InstallationStore::InstallationStore(const std::filesystem::path& file) : database_(nullptr, &sqlite3_close) {
    // Made here, because SQLite would make it readable to everybody; its helper files take after it.
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    sqlite3* database = nullptr;
    const int outcome = sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
    database_.reset(database);
    if (outcome != SQLITE_OK || sqlite3_exec(database, kSchema, nullptr, nullptr, nullptr) != SQLITE_OK) {
        fail(database, "open '" + file.string() + "' with");
    }
}

Json InstallationStore::add(const Json& record) {
    const std::string id = makeRandomHex(12);
    const std::int64_t now = millisecondsSince1970();
    Statement(database_.get(),
              "INSERT INTO installations (id, record, created, modified) VALUES (?, ?, ?, ?)")
        .bind(id)
        .bind(printJson(record))
        .bind(now)
        .bind(now)
        .step();
    return stamp(id, record, now, now);
}

std::optional<Json> InstallationStore::replace(const std::string& id, const Json& record) {
    Statement(database_.get(), "UPDATE installations SET record = ?, modified = ? WHERE id = ?")
        .bind(printJson(record))
        .bind(millisecondsSince1970())
        .bind(id)
        .step();
    return find(id);
}

std::optional<Json> InstallationStore::find(const std::string& id) const {
    Statement select(database_.get(), "SELECT record, created, modified FROM installations WHERE id = ?");
    if (!select.bind(id).step()) {
        return std::nullopt;
    }
    const std::optional<Json> record = parseJsonObject(select.text(0));
    if (!record) {
        throw SandboxError("the record of installation '" + id + "' is damaged");
    }
    return std::optional<Json>(stamp(id, *record, select.number(1), select.number(2)));
}

bool InstallationStore::remove(const std::string& id) {
    Statement(database_.get(), "DELETE FROM installations WHERE id = ?").bind(id).step();
    return sqlite3_changes(database_.get()) > 0;
}

}  // namespace xel::sandbox
