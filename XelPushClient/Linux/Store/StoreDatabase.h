#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Linux/Store/SqliteConnection.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/StoreWriter.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

/// The database of a store: what its homes hold, as of the journal's last run that was brought into it.
///
/// Its tables are told of in StoreSchema.h. Each row that is read is compared with its sum: what a disk has
/// changed reads as damaged, never as something else. Thread: one at a time.
class StoreDatabase {
public:
    /// What a setting and topics read as whose sum is another: a stored form that no value has.
    static constexpr std::string_view kDamaged{"\0", 1};

    /// The file exists, perhaps empty. As `SqliteConnection::open`.
    [[nodiscard]] Result<void> open(const std::string& path);
    void close();

    /// Whether the file has an older schema, so that nothing can be done with it here: it must be renewed
    /// (StoreRenewal.h) and opened again.
    [[nodiscard]] bool isOld() const { return isOld_; }

    /// Which store it is, as its journal says too; 0 for a new one.
    [[nodiscard]] std::uint64_t store() const { return store_; }
    [[nodiscard]] Result<void> setStore(std::uint64_t store);

    /// The last run of the journal that is in here.
    [[nodiscard]] std::uint64_t lastRun() const { return lastRun_; }
    /// The last run that a home has. It is behind the other one where the row that tells of the journal was
    /// lost, or is of an earlier day.
    [[nodiscard]] std::uint64_t lastRunOfAHome() const { return lastRunOfAHome_; }

    /// Brings in what the run has changed, in one transaction, and synchronises the file with the disk. On an
    /// error nothing has changed.
    [[nodiscard]] Result<void> bringIn(const StoreFold& changes, std::uint64_t run);

    /// The same with whatever the work writes, which answers SQLite's code.
    [[nodiscard]] Result<void> inTransaction(const std::function<int(StoreWriter&)>& work);

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

private:
    [[nodiscard]] Result<void> prepare();
    [[nodiscard]] Result<void> readJournal();
    [[nodiscard]] Result<void> readRunsOfHomes();

    SqliteConnection connection_;
    bool isOld_ = false;
    std::uint64_t store_ = 0;
    std::uint64_t lastRun_ = 0;
    std::uint64_t lastRunOfAHome_ = 0;
    StoreWriter writer_;
    SqliteStatement selectSettings_;
    SqliteStatement selectClients_;
    SqliteStatement selectOutbox_;
    SqliteStatement selectTopics_;
};

}  // namespace xel
