#include "XelPushClient/Linux/Store/SqliteSessionMemory.h"

#include <algorithm>
#include <chrono>

#include <sqlite3.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {
namespace {

/// Fewer do not join a commit: they would make it dearer than they save.
constexpr std::size_t kRemovalsWorthRiding = 32;
/// Without a run loop nobody else comes for them.
constexpr std::size_t kMostRemovalsPutOff = 512;
constexpr std::chrono::milliseconds kLongestPutOff{1000};

std::string encodeTopics(const TopicTable& topics) {
    Dictionary dictionary;
    dictionary.reserve(topics.size());
    for (const auto& [topic, qos] : topics) {
        dictionary.set(topic, qos);
    }
    std::string encoded;
    (void)appendEncodedValue(Value(std::move(dictionary)), encoded);  // two levels deep
    return encoded;
}

std::optional<TopicTable> decodeTopics(std::string_view encoded) {
    const auto value = decodeValue(encoded);
    const Dictionary* const dictionary = value ? value.value().asDictionary() : nullptr;
    if (dictionary == nullptr) {
        return std::nullopt;
    }
    TopicTable topics;
    for (const auto& [topic, qos] : *dictionary) {
        const std::int64_t* const level = qos.asInteger();
        if (level == nullptr || *level < 0 || *level > 2) {
            return std::nullopt;
        }
        topics.set(topic, static_cast<int>(*level));
    }
    return topics;
}

}  // namespace

SqliteSessionMemory::SqliteSessionMemory(std::shared_ptr<SqliteStore> store) : store_(std::move(store)) {}

SqliteSessionMemory::~SqliteSessionMemory() {
    writeRemovals();
    store_->setRider(nullptr);
    // Statements belong to the connection, which the store's own thread may be using.
    const SqliteStore::Access access(*store_);
    for (SqliteStatement* const statement : {&insertEntry_, &removeEntries_, &selectEntries_, &insertClient_,
                                             &selectTopics_, &updateTopics_, &eraseEntries_, &eraseClient_}) {
        *statement = {};
    }
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

std::vector<OutboxEntry> SqliteSessionMemory::loadOutbox(std::string_view clientId) {
    std::vector<OutboxEntry> entries;
    const Client* const client = find(clientId);
    if (client == nullptr || client->id == 0) {
        return entries;
    }
    const SqliteStore::Access access(*store_);
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
        store_->report(store_->errorFor(code));
    }
    selectEntries_.reset();
    return entries;
}

Result<void> SqliteSessionMemory::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    Client& client = findOrAdd(clientId);
    const bool isKnown = client.id != 0;
    std::int64_t id = client.id;
    auto stored = store_->commit(isKnown, [&] {
        const int code = isKnown ? SQLITE_OK : insertClient(clientId, id);
        return code == SQLITE_OK ? insertEntry(id, entry) : code;
    });
    if (!stored) {
        return stored;
    }
    client.id = id;
    if (const std::int64_t replaced = client.outbox.row(entry.packetId); replaced != 0) {
        putOffRemoval(replaced);
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
            client->outbox.setRow(packetId, 0);
            putOffRemoval(row);
        }
    }
    planRemovals();
}

void SqliteSessionMemory::putOffRemoval(std::int64_t row) {
    removals_.push_back(row);
}

void SqliteSessionMemory::planRemovals() {
    const auto& runLoop = store_->runLoop();
    if (!runLoop) {
        if (removals_.size() >= kMostRemovalsPutOff) {
            writeRemovals();
        }
        return;
    }
    if (removals_.empty() || areRemovalsPlanned_) {
        return;
    }
    areRemovalsPlanned_ = true;
    runLoop->scheduleTimer(kLongestPutOff, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->areRemovalsPlanned_ = false;
            self->writeRemovals();
        }
    });
}

void SqliteSessionMemory::writeRemovals() {
    if (removals_.empty()) {
        return;
    }
    const auto written = store_->commit(false, [this] { return wantsToRide() ? SQLITE_OK : ride(); });
    if (written) {
        arrive();
    } else {
        planRemovals();
    }
}

bool SqliteSessionMemory::wantsToRide() const {
    return removals_.size() >= kRemovalsWorthRiding;
}

// What was appended together is acknowledged together, mostly: one statement removes a run of rows.
int SqliteSessionMemory::ride() {
    std::sort(removals_.begin(), removals_.end());
    for (std::size_t first = 0; first < removals_.size();) {
        std::size_t last = first;
        while (last + 1 < removals_.size() && removals_[last + 1] == removals_[last] + 1) {
            ++last;
        }
        removeEntries_.bind(1, removals_[first]);
        removeEntries_.bind(2, removals_[last]);
        if (const int code = removeEntries_.run(); code != SQLITE_OK) {
            return code;
        }
        first = last + 1;
    }
    return SQLITE_OK;
}

void SqliteSessionMemory::arrive() {
    removals_.clear();
}

TopicTable SqliteSessionMemory::loadGrantedTopics(std::string_view clientId) {
    const Client* const client = find(clientId);
    if (client == nullptr || client->id == 0) {
        return {};
    }
    const SqliteStore::Access access(*store_);
    selectTopics_.bind(1, client->id);
    const int code = selectTopics_.step();
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        store_->report(store_->errorFor(code));
    }
    std::optional<TopicTable> topics = TopicTable();
    if (code == SQLITE_ROW && !selectTopics_.octets(0).empty()) {
        topics = decodeTopics(selectTopics_.octets(0));
    }
    selectTopics_.reset();
    if (!topics) {
        store_->report(
            makeStoreError(StoreErrorCode::Damaged,
                           "the granted topics kept in " + store_->path() + " are damaged and read as none"));
        return {};
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
        int code = wantsToRide() ? SQLITE_OK : ride();
        for (SqliteStatement* const statement : {&eraseEntries_, &eraseClient_}) {
            if (code == SQLITE_OK) {
                statement->bind(1, id);
                code = statement->run();
            }
        }
        return code;
    });
    if (erased) {
        arrive();
    }
}

}  // namespace xel
