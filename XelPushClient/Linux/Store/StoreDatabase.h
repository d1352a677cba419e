#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/SqliteConnection.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

class StoreFold;

/// The database of a store: what its homes hold, as of the journal's last run that was brought into it.
///
/// Tables: `homes`, `defaults` (settings, in their stored form), `clients` (with the topics granted to each),
/// `outbox`, and `journal`, whose one row says which run was the last. Thread: one at a time.
class StoreDatabase {
public:
    /// The file exists, perhaps empty. As `SqliteConnection::open`.
    [[nodiscard]] Result<void> open(const std::string& path);

    /// Which store it is, as its journal says too; 0 for a new one.
    [[nodiscard]] std::uint64_t store() const { return store_; }
    [[nodiscard]] Result<void> setStore(std::uint64_t store);

    /// The last run of the journal that is in here.
    [[nodiscard]] std::uint64_t lastRun() const { return lastRun_; }

    /// Brings in what the run has changed, in one transaction, and synchronises the file with the disk. On an
    /// error nothing has changed.
    [[nodiscard]] Result<void> bringIn(const StoreFold& changes, std::uint64_t run);

    /// The home's settings in their stored form; the views are valid during the call.
    using TakeSetting = std::function<void(std::string_view key, std::string_view value)>;
    [[nodiscard]] Result<void> loadSettings(std::string_view home, const TakeSetting& take);

    /// The client ids of the home.
    using TakeClient = std::function<void(std::string_view clientId)>;
    [[nodiscard]] Result<void> loadClients(std::string_view home, const TakeClient& take);

    /// Those of the home's client, in their order. A row that cannot be one is left out, and counted.
    struct Outbox {
        std::vector<OutboxEntry> entries;
        std::size_t damaged = 0;
    };
    [[nodiscard]] Result<Outbox> outbox(std::string_view home, std::string_view clientId);
    /// In their stored form; missing when there are none.
    [[nodiscard]] Result<std::optional<std::string>> topics(std::string_view home, std::string_view clientId);

    [[nodiscard]] const SqliteConnection& connection() const { return connection_; }

private:
    class Transaction;

    [[nodiscard]] Result<void> prepare();

    SqliteConnection connection_;
    std::uint64_t store_ = 0;
    std::uint64_t lastRun_ = 0;
    SqliteStatement addHome_;
    SqliteStatement addClient_;
    SqliteStatement readSetting_;
    SqliteStatement setSetting_;
    SqliteStatement removeSetting_;
    SqliteStatement setTopics_;
    SqliteStatement append_;
    SqliteStatement remove_;
    SqliteStatement eraseOutbox_;
    SqliteStatement eraseClient_;
    SqliteStatement setRun_;
    SqliteStatement setStore_;
    SqliteStatement hasOutbox_;
    SqliteStatement selectSettings_;
    SqliteStatement selectClients_;
    SqliteStatement selectOutbox_;
    SqliteStatement selectTopics_;
};

}  // namespace xel
