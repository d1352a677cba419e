#include "sandbox/store/InstallationStore.h"

#include <cstdint>

#include "sandbox/process/SandboxError.h"
#include "sandbox/relay/RandomText.h"
#include "sandbox/relay/WallClock.h"
#include "sandbox/store/Database.h"

namespace xel::sandbox {
namespace {

using Statement = Database::Statement;

constexpr const char* kInstallationSchema =
    "CREATE TABLE IF NOT EXISTS installations ("
    " id TEXT PRIMARY KEY, user TEXT NOT NULL, record TEXT NOT NULL,"
    " created INTEGER NOT NULL, modified INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS installations_by_user ON installations (user)";

constexpr const char* kSelect = "SELECT id, record, created, modified FROM installations ";

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

std::string userOf(const Json& record) {
    return findText(record, "userId").value_or("");
}

Json readRow(const Statement& row) {
    const std::string id = row.text(0);
    const std::optional<Json> record = parseJsonObject(row.text(1));
    if (!record) {
        throw SandboxError("the record of installation '" + id + "' is damaged");
    }
    return stamp(id, *record, row.number(2), row.number(3));
}

}  // namespace

InstallationStore::InstallationStore(Database& database) : database_(database) {
    database_.run(kInstallationSchema);
}

Json InstallationStore::add(const Json& record) {
    const std::string id = makeRandomHex(12);
    const std::int64_t now = millisecondsSince1970();
    Statement(database_, "INSERT INTO installations (id, user, record, created, modified) VALUES (?,?,?,?,?)")
        .bind(id)
        .bind(userOf(record))
        .bind(printJson(record))
        .bind(now)
        .bind(now)
        .run();
    return stamp(id, record, now, now);
}

std::optional<Json> InstallationStore::replace(const std::string& id, const Json& record) {
    Statement(database_, "UPDATE installations SET user = ?, record = ?, modified = ? WHERE id = ?")
        .bind(userOf(record))
        .bind(printJson(record))
        .bind(millisecondsSince1970())
        .bind(id)
        .run();
    return find(id);
}

std::optional<Json> InstallationStore::find(const std::string& id) const {
    Statement select(database_, (std::string(kSelect) + "WHERE id = ?").c_str());
    if (!select.bind(id).step()) {
        return std::nullopt;
    }
    return std::optional<Json>(readRow(select));
}

void InstallationStore::forgetPushToken(const std::string& id, const std::string& token) {
    std::optional<Json> record = find(id);
    // The device may have told another one since.
    if (!record || findText(*record, "deviceToken") != token) {
        return;
    }
    record->erase("deviceToken");
    for (const char* key : {"id", "created", "modified"}) {
        record->erase(key);
    }
    replace(id, *record);
}

bool InstallationStore::remove(const std::string& id) {
    Statement(database_, "DELETE FROM installations WHERE id = ?").bind(id).run();
    return database_.changedRows() > 0;
}

Json InstallationStore::list(std::int64_t limit) const {
    Statement select(database_, (std::string(kSelect) + "WHERE rowid IN (SELECT rowid FROM installations"
                                                        " ORDER BY rowid DESC LIMIT ?) ORDER BY rowid")
                                    .c_str());
    select.bind(limit);
    Json records = Json::array();
    while (select.step()) {
        records.push_back(readRow(select));
    }
    return records;
}

}  // namespace xel::sandbox
