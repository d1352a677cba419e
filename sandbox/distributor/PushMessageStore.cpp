#include "sandbox/distributor/PushMessageStore.h"

#include "sandbox/store/Database.h"

namespace xel::sandbox {
namespace {

using Statement = Database::Statement;

// A number is never used twice: it is the message's id for the application.
constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS messages ("
    " number INTEGER PRIMARY KEY AUTOINCREMENT,"
    " token TEXT NOT NULL REFERENCES registrations (token) ON DELETE CASCADE,"
    " body BLOB NOT NULL, expires INTEGER NOT NULL, tried INTEGER NOT NULL DEFAULT 0);"
    "CREATE INDEX IF NOT EXISTS messages_by_token ON messages (token)";

}  // namespace

PushMessageStore::PushMessageStore(Database& database) : database_(database) {
    database_.run(kSchema);
}

bool PushMessageStore::add(const std::string& token, const std::string& body, std::int64_t expires) {
    Statement(database_, "INSERT INTO messages (token, body, expires) VALUES (?, ?, ?)")
        .bind(token)
        .bindBytes(body)
        .bind(expires)
        .run();
    Statement(database_,
              "DELETE FROM messages WHERE token = ?1 AND number NOT IN"
              " (SELECT number FROM messages WHERE token = ?1 ORDER BY number DESC LIMIT ?2)")
        .bind(token)
        .bind(static_cast<std::int64_t>(kMostForOne))
        .run();
    return database_.changedRows() > 0;
}

std::optional<KeptPush> PushMessageStore::first(const std::string& token) const {
    Statement select(database_,
                     "SELECT number, body, expires, tried FROM messages WHERE token = ?"
                     " ORDER BY number LIMIT 1");
    if (!select.bind(token).step()) {
        return std::nullopt;
    }
    return KeptPush{select.number(0), select.text(1), select.number(2), select.number(3) != 0};
}

void PushMessageStore::markTried(std::int64_t number) {
    Statement(database_, "UPDATE messages SET tried = 1 WHERE number = ?").bind(number).run();
}

void PushMessageStore::remove(std::int64_t number) {
    Statement(database_, "DELETE FROM messages WHERE number = ?").bind(number).run();
}

}  // namespace xel::sandbox
