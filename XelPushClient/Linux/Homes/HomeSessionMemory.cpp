#include "XelPushClient/Linux/Homes/HomeSessionMemory.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"

namespace xel {
namespace {

/// Without a run loop nobody else comes for them.
constexpr std::size_t kMostRemovalsPutOff = 512;

}  // namespace

std::shared_ptr<HomeSessionMemory> HomeSessionMemory::open(std::shared_ptr<OpenHome> home,
                                                           const std::vector<std::string>& clientIds) {
    std::shared_ptr<HomeSessionMemory> memory(new HomeSessionMemory(std::move(home)));
    for (const std::string& clientId : clientIds) {
        memory->clients_[clientId].isStored = true;
    }
    return memory;
}

HomeSessionMemory::HomeSessionMemory(std::shared_ptr<OpenHome> home)
    : home_(std::move(home)), store_(home_->store()) {}

HomeSessionMemory::~HomeSessionMemory() {
    try {
        if (removalCount_ != 0) {
            (void)store_.write([this](StoreChangeWriter& writer) { writeTo(writer); });
        }
    } catch (const std::exception&) {
        return;  // no memory for it: they come back with the next start, as those of a killed process
    }
}

HomeSessionMemory::Client& HomeSessionMemory::clientNamed(std::string_view clientId) {
    const auto found = clients_.find(clientId);
    return found != clients_.end() ? found->second : clients_[std::string(clientId)];
}

std::uint64_t HomeSessionMemory::lastRunOf(std::string_view clientId) const {
    const auto found = clients_.find(clientId);
    return found != clients_.end() ? found->second.lastRun : 0;
}

// ---- The outbox.

Result<std::vector<OutboxEntry>> HomeSessionMemory::loadOutbox(std::string_view clientId) {
    const auto found = clients_.find(clientId);
    if (found == clients_.end() || !found->second.isStored) {
        return std::vector<OutboxEntry>();
    }
    auto outbox = store_.outbox(home_->name(), clientId, found->second.lastRun);
    const auto& removals = found->second.removals;
    if (outbox && !removals.empty()) {
        // Removed already, only not on the disk.
        std::erase_if(outbox.value(), [&](const OutboxEntry& entry) {
            return std::find(removals.begin(), removals.end(), entry.packetId) != removals.end();
        });
    }
    return outbox;
}

Result<void> HomeSessionMemory::appendToOutbox(std::string_view clientId, const OutboxEntry& entry) {
    Client& client = clientNamed(clientId);
    auto written = store_.write([&](StoreChangeWriter& writer) {
        writer.changesOf(home_->name());
        writer.appendPublication(clientId, entry);
    });
    if (!written) {
        return written;
    }
    client.isStored = true;
    client.lastRun = store_.run();
    if (store_.durability() == Durability::PowerCut && !store_.syncNow()) {
        // The caller keeps nothing of what failed.
        removeFromOutbox(clientId, {&entry.packetId, 1});
        return makeStoreError(
            StoreErrorCode::WriteFailed,
            formatted("a publication cannot be kept in %@ against a power cut", store_.path()));
    }
    return {};
}

void HomeSessionMemory::removeFromOutbox(std::string_view clientId,
                                         std::span<const std::uint16_t> packetIds) {
    const auto found = clients_.find(clientId);
    if (found == clients_.end() || !found->second.isStored) {
        return;
    }
    auto& removals = found->second.removals;
    removals.insert(removals.end(), packetIds.begin(), packetIds.end());
    removalCount_ += packetIds.size();
    planRemovals();
}

void HomeSessionMemory::planRemovals() {
    if (!std::exchange(isRiding_, true)) {
        store_.addRider(weak_from_this());
    }
    if (!store_.runLoop() && removalCount_ >= kMostRemovalsPutOff) {
        (void)store_.write(nullptr);
    }
}

void HomeSessionMemory::writeTo(StoreChangeWriter& writer) {
    if (removalCount_ == 0) {
        return;
    }
    writer.changesOf(home_->name());
    for (const auto& [clientId, client] : clients_) {
        if (!client.removals.empty()) {
            writer.removePublications(clientId, client.removals);
        }
    }
}

void HomeSessionMemory::wasWritten(bool isWritten) {
    if (!isWritten) {
        return;
    }
    isRiding_ = false;
    removalCount_ = 0;
    for (auto& [clientId, client] : clients_) {
        if (!client.removals.empty()) {
            client.removals.clear();
            client.lastRun = store_.run();
        }
    }
}

// ---- The topics.

Result<TopicTable> HomeSessionMemory::loadGrantedTopics(std::string_view clientId) {
    const auto found = clients_.find(clientId);
    if (found == clients_.end() || !found->second.isStored) {
        return TopicTable();
    }
    const auto stored = store_.topics(home_->name(), clientId, found->second.lastRun);
    if (!stored) {
        return stored.error();
    }
    if (!stored.value()) {
        return TopicTable();
    }
    auto topics = decodeTopics(*stored.value());
    if (!topics) {
        store_.report(
            makeStoreError(StoreErrorCode::Damaged,
                           formatted("the granted topics of \"%@\" kept in %@ are damaged and read as none",
                                     home_->name(), store_.path())));
        return TopicTable();
    }
    return std::move(*topics);
}

Result<void> HomeSessionMemory::storeGrantedTopics(std::string_view clientId, const TopicTable& topics) {
    Client& client = clientNamed(clientId);
    const std::string encoded = encodeTopics(topics);
    auto written = store_.write([&](StoreChangeWriter& writer) {
        writer.changesOf(home_->name());
        writer.setTopics(clientId, encoded);
    });
    if (written) {
        client.isStored = true;
        client.lastRun = store_.run();
        store_.syncInBackground();
    }
    return written;
}

// ---- The clients.

std::vector<std::string> HomeSessionMemory::clientIds() {
    std::vector<std::string> ids;
    for (const auto& [id, client] : clients_) {
        if (client.isStored) {
            ids.push_back(id);
        }
    }
    return ids;
}

// A failure is reported by the store; what it holds then comes back with the next start, as that of a killed
// process.
void HomeSessionMemory::erase(std::string_view clientId) {
    const auto found = clients_.find(clientId);
    if (found == clients_.end()) {
        return;
    }
    const bool isStored = found->second.isStored;
    removalCount_ -= found->second.removals.size();
    const std::string erased = found->first;
    clients_.erase(found);
    if (isStored) {
        (void)store_.write([&](StoreChangeWriter& writer) {
            writer.changesOf(home_->name());
            writer.eraseClient(erased);
        });
    }
}

}  // namespace xel
