#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Linux/Store/OutboxIndex.h"
#include "XelPushClient/Linux/Store/OutboxRemovals.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/SqliteStore.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// The memory of a home's sessions, in the home's store.
///
/// An append is one commit. Removals are put off, at the latest until this is destroyed (`OutboxRemovals`).
/// Thread: as the port says.
class SqliteSessionMemory final : public SessionMemory {
public:
    /// Reads which publications are there. A row that cannot be one is left out and reported to the problem
    /// handler.
    [[nodiscard]] static Result<std::shared_ptr<SqliteSessionMemory>> load(
        std::shared_ptr<SqliteStore> store);

    ~SqliteSessionMemory() override;
    SqliteSessionMemory(const SqliteSessionMemory&) = delete;
    SqliteSessionMemory& operator=(const SqliteSessionMemory&) = delete;

    [[nodiscard]] Result<std::vector<OutboxEntry>> loadOutbox(std::string_view clientId) override;
    Result<void> appendToOutbox(std::string_view clientId, const OutboxEntry& entry) override;
    void removeFromOutbox(std::string_view clientId, std::span<const std::uint16_t> packetIds) override;
    [[nodiscard]] Result<TopicTable> loadGrantedTopics(std::string_view clientId) override;
    Result<void> storeGrantedTopics(std::string_view clientId, const TopicTable& topics) override;
    [[nodiscard]] std::vector<std::string> clientIds() override;
    void erase(std::string_view clientId) override;

private:
    struct Client {
        std::int64_t id = 0;  // 0 while it has no row
        OutboxIndex outbox;
    };
    using Clients = std::map<std::string, Client, std::less<>>;

    explicit SqliteSessionMemory(std::shared_ptr<SqliteStore> store);
    [[nodiscard]] Result<void> loadIndex();
    [[nodiscard]] Result<void> prepareStatements();
    [[nodiscard]] Client* find(std::string_view clientId);
    [[nodiscard]] Client& findOrAdd(std::string_view clientId);
    [[nodiscard]] int insertClient(std::string_view clientId, std::int64_t& id);
    [[nodiscard]] int insertEntry(std::int64_t client, const OutboxEntry& entry);

    std::shared_ptr<SqliteStore> store_;
    std::shared_ptr<OutboxRemovals> removals_;
    SqliteStatement insertEntry_;
    SqliteStatement selectEntries_;
    SqliteStatement insertClient_;
    SqliteStatement selectTopics_;
    SqliteStatement updateTopics_;
    SqliteStatement eraseEntries_;
    SqliteStatement eraseClient_;

    Clients clients_;
    Clients::value_type* lastClient_ = nullptr;  // almost always the one that is meant
};

}  // namespace xel
