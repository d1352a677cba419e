#include "sandbox/store/EventStore.h"

#include <algorithm>

#include "sandbox/relay/EventRecord.h"
#include "sandbox/relay/WallClock.h"
#include "sandbox/store/AnswerSize.h"

namespace xel::sandbox {
namespace {

using Statement = Database::Statement;

constexpr const char* kEventSchema =
    "CREATE TABLE IF NOT EXISTS events ("
    " number INTEGER PRIMARY KEY, id TEXT UNIQUE, name TEXT NOT NULL, device TEXT NOT NULL,"
    " user TEXT NOT NULL, payload TEXT NOT NULL, received INTEGER NOT NULL);"
    "CREATE TABLE IF NOT EXISTS receipts ("
    " number INTEGER PRIMARY KEY, kind TEXT NOT NULL, message TEXT NOT NULL, user TEXT NOT NULL,"
    " device TEXT NOT NULL, time TEXT NOT NULL, received INTEGER NOT NULL,"
    " UNIQUE (message, kind, user, device, time))";

}  // namespace

EventStore::EventStore(const std::filesystem::path& file) : database_(file, LogCopying::WhenAsked) {
    database_.run(kEventSchema);
}

void EventStore::keep(const EventRecord& event) {
    // NULLs never equal one another, so that all events without an id are kept.
    Statement insert(database_,
                     "INSERT OR IGNORE INTO events (id, name, device, user, payload, received)"
                     " VALUES (?, ?, ?, ?, ?, ?)");
    if (event.id) {
        insert.bind(*event.id);
    } else {
        insert.bindNothing();
    }
    insert.bind(event.name)
        .bind(event.device)
        .bind(event.user)
        .bind(event.payload)
        .bind(millisecondsSince1970())
        .run();
}

void EventStore::keep(const ReceiptRecord& receipt) {
    Statement(database_,
              "INSERT OR IGNORE INTO receipts (kind, message, user, device, time, received)"
              " VALUES (?, ?, ?, ?, ?, ?)")
        .bind(receipt.kind)
        .bind(receipt.messageId)
        .bind(receipt.user)
        .bind(receipt.device)
        .bind(receipt.time)
        .bind(millisecondsSince1970())
        .run();
}

Json EventStore::listEvents(std::int64_t limit) const {
    Statement select(database_,
                     "SELECT id, name, device, user, payload, received FROM events"
                     " ORDER BY number DESC LIMIT ?");
    select.bind(limit);
    Json events = Json::array();
    AnswerSize size;
    while (select.step()) {
        const std::string payload = select.text(4);
        if (!size.takes(payload.size())) {
            break;
        }
        events.push_back(Json{{"id", select.isNothing(0) ? Json() : Json(select.text(0))},
                              {"event", select.text(1)},
                              {"deviceId", select.text(2)},
                              {"user", select.text(3)},
                              {"data", parseJsonObject(payload).value_or(Json())},
                              {"received", select.number(5)}});
    }
    std::reverse(events.begin(), events.end());
    return events;
}

Json EventStore::listReceipts(std::int64_t limit) const {
    Statement select(database_,
                     "SELECT kind, message, user, device, time, received FROM receipts"
                     " ORDER BY number DESC LIMIT ?");
    select.bind(limit);
    Json receipts = Json::array();
    while (select.step()) {
        receipts.push_back(Json{{"kind", select.text(0)},
                                {"messageId", select.text(1)},
                                {"user", select.text(2)},
                                {"deviceId", select.text(3)},
                                {"ts", select.text(4)},
                                {"received", select.number(5)}});
    }
    std::reverse(receipts.begin(), receipts.end());
    return receipts;
}

void EventStore::carryLogOver() {
    // A writer or reader in the way is no failure: the rest is copied next time.
    Statement(database_, "PRAGMA wal_checkpoint(PASSIVE)").run();
}

}  // namespace xel::sandbox
