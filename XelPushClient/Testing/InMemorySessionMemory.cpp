#include "XelPushClient/Testing/InMemorySessionMemory.h"

#include <utility>

namespace xel {
namespace {

void dropEntries(std::vector<OutboxEntry>& outbox, const std::set<std::uint16_t>& packetIds) {
    std::erase_if(outbox, [&](const OutboxEntry& entry) { return packetIds.contains(entry.packetId); });
}

}  // namespace

InMemorySessionMemory::InMemorySessionMemory(std::shared_ptr<FakeDisk> disk, std::string store)
    : disk_(std::move(disk)), store_(std::move(store)) {}

Result<void> InMemorySessionMemory::change(std::string_view clientId, std::string_view what,
                                           const std::function<void(FakeDisk::ClientMemory&)>& work) {
    const auto late = lateRemovals_.find(clientId);
    std::string changed = std::string(clientId) + ":" + std::string(what);
    if (late != lateRemovals_.end()) {
        for (const auto packetId : late->second) {
            changed += " outbox -" + std::to_string(packetId);
        }
    }
    const bool isStored = disk_->commit(
        store_,
        [&](FakeDisk::Store& store) {
            auto& client = store.clients[std::string(clientId)];
            // First: what is appended now may have the identifier of an entry that is still to be removed.
            if (late != lateRemovals_.end()) {
                dropEntries(client.outbox, late->second);
            }
            work(client);
        },
        changed);
    if (!isStored) {
        return makeError("InMemorySessionMemory", 1, "the disk stores nothing at the moment");
    }
    if (late != lateRemovals_.end()) {
        lateRemovals_.erase(late);
    }
    return {};
}

Result<std::vector<OutboxEntry>> InMemorySessionMemory::loadOutbox(std::string_view clientId) {
    const auto store = disk_->contents(store_);
    const auto client = store.clients.find(clientId);
    if (client == store.clients.end()) {
        return std::vector<OutboxEntry>();
    }
    auto outbox = client->second.outbox;
    if (const auto late = lateRemovals_.find(clientId); late != lateRemovals_.end()) {
        dropEntries(outbox, late->second);
    }
    return outbox;
}

Result<void> InMemorySessionMemory::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    return change(clientId, " outbox +" + std::to_string(entry.packetId),
                  [&](FakeDisk::ClientMemory& client) { client.outbox.push_back(entry); });
}

void InMemorySessionMemory::removeFromOutbox(std::string_view clientId,
                                             std::span<const std::uint16_t> packetIds) {
    auto late = lateRemovals_.find(clientId);
    if (late == lateRemovals_.end()) {
        late = lateRemovals_.emplace(clientId, std::set<std::uint16_t>{}).first;
    }
    late->second.insert(packetIds.begin(), packetIds.end());
    if (!storesRemovalsLate_) {
        // A removal that cannot be stored now is a late one.
        static_cast<void>(change(clientId, {}, [](FakeDisk::ClientMemory&) {}));
    }
}

Result<TopicTable> InMemorySessionMemory::loadGrantedTopics(std::string_view clientId) {
    const auto store = disk_->contents(store_);
    const auto client = store.clients.find(clientId);
    return client == store.clients.end() ? TopicTable{} : client->second.grantedTopics;
}

Result<void> InMemorySessionMemory::storeGrantedTopics(std::string_view clientId, const TopicTable& topics) {
    return change(clientId, " granted topics",
                  [&](FakeDisk::ClientMemory& client) { client.grantedTopics = topics; });
}

std::vector<std::string> InMemorySessionMemory::clientIds() {
    std::vector<std::string> ids;
    for (const auto& [id, client] : disk_->contents(store_).clients) {
        ids.push_back(id);
    }
    return ids;
}

void InMemorySessionMemory::erase(std::string_view clientId) {
    lateRemovals_.erase(std::string(clientId));
    static_cast<void>(disk_->commit(
        store_, [&](FakeDisk::Store& store) { store.clients.erase(std::string(clientId)); },
        std::string(clientId) + ": erased"));
}

}  // namespace xel
