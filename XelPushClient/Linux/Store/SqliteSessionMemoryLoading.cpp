#include <utility>

#include <sqlite3.h>

#include "XelPushClient/Linux/Store/SqliteSessionMemory.h"
#include "XelPushClient/Linux/Store/StoreError.h"

// How a session memory comes about: its statements, and what of earlier processes it finds.

namespace xel {

Result<std::shared_ptr<SqliteSessionMemory>> SqliteSessionMemory::load(std::shared_ptr<SqliteStore> store) {
    std::shared_ptr<SqliteSessionMemory> memory(new SqliteSessionMemory(std::move(store)));
    {
        const SqliteStore::Access access(*memory->store_);
        if (auto prepared = memory->prepareStatements(); !prepared) {
            return prepared.error();
        }
        if (auto loaded = memory->loadIndex(); !loaded) {
            return loaded.error();
        }
    }
    memory->store_->setRider(memory.get());
    return memory;
}

Result<void> SqliteSessionMemory::prepareStatements() {
    const std::pair<SqliteStatement*, std::string_view> statements[] = {
        {&insertEntry_,
         "INSERT INTO outbox(client, packet, retain, topic, payload) VALUES(?1, ?2, ?3, ?4, ?5)"},
        {&removeEntries_, "DELETE FROM outbox WHERE seq BETWEEN ?1 AND ?2"},
        {&selectEntries_,
         "SELECT seq, packet, retain, topic, payload FROM outbox WHERE client=?1 ORDER BY seq"},
        {&insertClient_, "INSERT INTO clients(name) VALUES(?1)"},
        {&selectTopics_, "SELECT topics FROM clients WHERE id=?1"},
        {&updateTopics_, "UPDATE clients SET topics=?1 WHERE id=?2"},
        {&eraseEntries_, "DELETE FROM outbox WHERE client=?1"},
        {&eraseClient_, "DELETE FROM clients WHERE id=?1"},
    };
    for (const auto& [statement, sql] : statements) {
        if (const int code = statement->prepare(store_->connection(), sql); code != SQLITE_OK) {
            return store_->errorFor(code);
        }
    }
    return {};
}

Result<void> SqliteSessionMemory::loadIndex() {
    SqliteStatement clients;
    SqliteStatement entries;
    int code = clients.prepare(store_->connection(), "SELECT id, name FROM clients");
    std::map<std::int64_t, Client*> clientsById;
    while (code == SQLITE_OK || code == SQLITE_ROW) {
        code = clients.step();
        if (code == SQLITE_ROW) {
            Client& client = clients_[std::string(clients.octets(1))];
            client.id = clients.integer(0);
            clientsById[client.id] = &client;
        }
    }
    if (code == SQLITE_DONE) {
        code = entries.prepare(store_->connection(), "SELECT seq, client, packet FROM outbox ORDER BY seq");
    }
    while (code == SQLITE_OK || code == SQLITE_ROW) {
        code = entries.step();
        if (code != SQLITE_ROW) {
            break;
        }
        const auto owner = clientsById.find(entries.integer(1));
        if (owner == clientsById.end() || !OutboxIndex::isPacketId(entries.integer(2))) {
            store_->report(makeStoreError(StoreErrorCode::Damaged, "a publication kept in " + store_->path() +
                                                                       " is damaged and left out"));
            removals_.push_back(entries.integer(0));
            continue;
        }
        owner->second->outbox.setRow(static_cast<std::uint16_t>(entries.integer(2)), entries.integer(0));
    }
    return code == SQLITE_DONE ? Result<void>() : store_->errorFor(code);
}

}  // namespace xel
