#include "XelPushClient/Linux/Store/SqliteSessionMemory.h"

#include <utility>

#include <sqlite3.h>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"

namespace xel {

SqliteSessionMemory::SqliteSessionMemory(std::shared_ptr<SqliteStore> store)
    : store_(std::move(store)), removals_(std::make_shared<OutboxRemovals>(store_)) {}

SqliteSessionMemory::~SqliteSessionMemory() {
    removals_->write();
    store_->setRider(nullptr);
    // Statements belong to the connection, which the store's own thread may be using.
    const SqliteStore::Access access(*store_);
    for (SqliteStatement* const statement : {&insertEntry_, &selectEntries_, &insertClient_, &selectTopics_,
                                             &updateTopics_, &eraseEntries_, &eraseClient_}) {
        *statement = {};
    }
    removals_->finish();
}

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
    memory->store_->setRider(memory->removals_.get());
    return memory;
}

Result<void> SqliteSessionMemory::prepareStatements() {
    const std::pair<SqliteStatement*, std::string_view> statements[] = {
        {&insertEntry_,
         "INSERT INTO outbox(client, packet, retain, topic, payload) VALUES(?1, ?2, ?3, ?4, ?5)"},
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
    return removals_->prepare();
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
            // Or it would be found, and reported, at each start.
            removals_->add(entries.integer(0));
            continue;
        }
        OutboxIndex& outbox = owner->second->outbox;
        const auto packetId = static_cast<std::uint16_t>(entries.integer(2));
        // Its removal was put off when the process ended, and its identifier belongs to another one already.
        if (const std::int64_t former = outbox.row(packetId); former != 0) {
            removals_->add(former);
        }
        outbox.setRow(packetId, entries.integer(0));
    }
    return code == SQLITE_DONE ? Result<void>() : store_->errorFor(code);
}

SqliteSessionMemory::Client* SqliteSessionMemory::find(std::string_view clientId) {
    if (lastClient_ != nullptr && lastClient_->first == clientId) {
        return &lastClient_->second;
    }
    const auto found = clients_.find(clientId);
    if (found == clients_.end()) {
        return nullptr;
    }
    lastClient_ = &*found;
    return &found->second;
}

SqliteSessionMemory::Client& SqliteSessionMemory::findOrAdd(std::string_view clientId) {
    if (Client* const client = find(clientId)) {
        return *client;
    }
    return clients_.try_emplace(std::string(clientId)).first->second;
}

int SqliteSessionMemory::insertClient(std::string_view clientId, std::int64_t& id) {
    insertClient_.bindText(1, clientId);
    const int code = insertClient_.run();
    id = sqlite3_last_insert_rowid(store_->connection());
    return code;
}

int SqliteSessionMemory::insertEntry(std::int64_t client, const OutboxEntry& entry) {
    insertEntry_.bind(1, client);
    insertEntry_.bind(2, entry.packetId);
    insertEntry_.bind(3, entry.retain ? 1 : 0);
    insertEntry_.bindText(4, entry.topic);
    insertEntry_.bindOctets(5, entry.payload);
    return insertEntry_.run();
}

Result<std::vector<OutboxEntry>> SqliteSessionMemory::loadOutbox(std::string_view clientId) {
    std::vector<OutboxEntry> entries;
    const Client* const client = find(clientId);
    if (client == nullptr || client->id == 0) {
        return entries;
    }
    const SqliteStore::Access access(*store_);
    // A statement in the middle of its rows holds a read transaction, and the log could not be carried over.
    const OnLeaving reset([this] { selectEntries_.reset(); });
    selectEntries_.bind(1, client->id);
    int code = selectEntries_.step();
    for (; code == SQLITE_ROW; code = selectEntries_.step()) {
        const std::int64_t packetId = selectEntries_.integer(1);
        // A row that the index does not name is removed already, only not on the disk.
        if (!OutboxIndex::isPacketId(packetId) ||
            client->outbox.row(static_cast<std::uint16_t>(packetId)) != selectEntries_.integer(0)) {
            continue;
        }
        entries.push_back({.packetId = static_cast<std::uint16_t>(packetId),
                           .topic = std::string(selectEntries_.octets(3)),
                           .payload = std::string(selectEntries_.octets(4)),
                           .retain = selectEntries_.integer(2) != 0});
    }
    if (code != SQLITE_DONE) {
        auto error = store_->errorFor(code);
        store_->report(error);
        return error;
    }
    return entries;
}

Result<void> SqliteSessionMemory::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    Client& client = findOrAdd(clientId);
    const bool isKnown = client.id != 0;
    std::int64_t id = client.id;
    // Before the commit, behind which nothing may throw: the row would be there and not in the index.
    client.outbox.reserve(entry.packetId);
    removals_->reserveOne();
    auto stored = store_->commit(isKnown, [&] {
        const int code = isKnown ? SQLITE_OK : insertClient(clientId, id);
        return code == SQLITE_OK ? insertEntry(id, entry) : code;
    });
    if (!stored) {
        return stored;
    }
    // Not before: a commit that failed leaves no such row.
    client.id = id;
    // The former row goes after the new one is stored, so that no kill finds neither.
    if (const std::int64_t replaced = client.outbox.row(entry.packetId); replaced != 0) {
        removals_->add(replaced);
    }
    client.outbox.setRow(entry.packetId, sqlite3_last_insert_rowid(store_->connection()));
    return stored;
}

void SqliteSessionMemory::removeFromOutbox(std::string_view clientId,
                                           std::span<const std::uint16_t> packetIds) {
    Client* const client = find(clientId);
    if (client == nullptr) {
        return;
    }
    for (const std::uint16_t packetId : packetIds) {
        if (const std::int64_t row = client->outbox.row(packetId); row != 0) {
            removals_->add(row);
            client->outbox.setRow(packetId, 0);
        }
    }
    removals_->plan();
}

Result<TopicTable> SqliteSessionMemory::loadGrantedTopics(std::string_view clientId) {
    const Client* const client = find(clientId);
    if (client == nullptr || client->id == 0) {
        return TopicTable();
    }
    const SqliteStore::Access access(*store_);
    const OnLeaving reset([this] { selectTopics_.reset(); });
    selectTopics_.bind(1, client->id);
    const int code = selectTopics_.step();
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        auto error = store_->errorFor(code);
        store_->report(error);
        return error;
    }
    std::optional<TopicTable> topics = TopicTable();
    if (code == SQLITE_ROW && !selectTopics_.octets(0).empty()) {
        topics = decodeTopics(selectTopics_.octets(0));
    }
    if (!topics) {
        store_->report(
            makeStoreError(StoreErrorCode::Damaged,
                           "the granted topics kept in " + store_->path() + " are damaged and read as none"));
        return TopicTable();
    }
    return std::move(*topics);
}

Result<void> SqliteSessionMemory::storeGrantedTopics(std::string_view clientId, const TopicTable& topics) {
    Client& client = findOrAdd(clientId);
    const bool isKnown = client.id != 0;
    std::int64_t id = client.id;
    const std::string encoded = encodeTopics(topics);
    auto stored = store_->commit(isKnown, [&] {
        const int code = isKnown ? SQLITE_OK : insertClient(clientId, id);
        if (code != SQLITE_OK) {
            return code;
        }
        updateTopics_.bindOctets(1, encoded);
        updateTopics_.bind(2, id);
        return updateTopics_.run();
    });
    if (stored) {
        client.id = id;
    }
    return stored;
}

std::vector<std::string> SqliteSessionMemory::clientIds() {
    std::vector<std::string> ids;
    for (const auto& [id, client] : clients_) {
        if (client.id != 0) {
            ids.push_back(id);
        }
    }
    return ids;
}

void SqliteSessionMemory::erase(std::string_view clientId) {
    const auto found = clients_.find(clientId);
    if (found == clients_.end()) {
        return;
    }
    const std::int64_t id = found->second.id;
    lastClient_ = nullptr;
    clients_.erase(found);
    if (id == 0) {
        return;
    }
    // What is put off goes first: the numbers of the rows below may be given to new ones at once. A failure
    // is reported by the store; the rows then come back with the next start, as those of a killed process.
    const auto erased = store_->commit(false, [&] {
        int code = removals_->rideFirst();
        for (SqliteStatement* const statement : {&eraseEntries_, &eraseClient_}) {
            if (code == SQLITE_OK) {
                statement->bind(1, id);
                code = statement->run();
            }
        }
        return code;
    });
    if (erased) {
        removals_->arrive();
    }
}

}  // namespace xel
