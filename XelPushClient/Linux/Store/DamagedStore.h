#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Linux/Store/HomeCopy.h"
#include "XelPushClient/Linux/Store/RowSums.h"
#include "XelPushClient/Linux/Store/SqliteImage.h"

namespace xel {

/// A damaged database, of which is read what can be told to be right: a row counts when its sum is right, and
/// what a home or a client has when the sums of its rows come to what its own row says.
///
/// The file is only read. Rows are looked for from each end of a table, and by its index too, so that a
/// damaged page hides only what is on it. Thread: one.
class DamagedStore {
public:
    /// Opens any file. What keeps it from being read, but for damage, is a `failure`.
    explicit DamagedStore(std::string path);

    /// Something else than damage, such as a disk that could not be read: what was found is not all, and
    /// another attempt may find it.
    [[nodiscard]] const std::optional<NSError>& failure() const { return failure_; }

    /// As the journal's row says, or else as the homes do; 0 where nothing does.
    [[nodiscard]] std::uint64_t run() const { return run_; }
    [[nodiscard]] std::uint64_t store() const { return store_; }

    /// Every home that something says was there, by its number.
    [[nodiscard]] const std::map<std::int64_t, std::string>& homes() const { return homes_; }
    /// Whether those are all.
    [[nodiscard]] bool areAllHomesKnown() const { return areAllHomesKnown_; }

    struct Home {
        /// Its row or one of its settings cannot be read. There is nothing of it then.
        bool isLost = true;
        /// Clients with granted topics and outbox.
        bool hasLostClients = false;
        bool hasLostPublications = false;
        std::uint64_t run = 0;
        HomeCopy contents;
    };
    [[nodiscard]] Home read(std::int64_t id);

private:
    using Take = std::function<bool()>;

    [[nodiscard]] bool forEachRow(SqliteStatement& statement, const Take& take);
    void prepare();
    void check(int code);
    void readJournal();
    void findHomes();
    void findClients();
    [[nodiscard]] bool scan(std::string_view sql, std::string_view table, bool isFalling,
                            const std::function<void(const SqliteStatement&)>& take);
    [[nodiscard]] std::optional<HomeRow> rowOfHome(std::int64_t id, std::string* name = nullptr);
    [[nodiscard]] bool readSettings(const HomeRow& row, HomeCopy& contents);
    void readClients(const HomeRow& row, Home& home);
    [[nodiscard]] std::optional<std::int64_t> readClient(std::int64_t id, const HomeRow& row, Home& home);
    [[nodiscard]] bool readOutbox(const ClientRow& row, std::vector<OutboxEntry>& outbox);

    const std::string path_;
    SqliteImage image_;
    std::optional<NSError> failure_;
    std::uint64_t run_ = 0;
    std::uint64_t store_ = 0;
    std::map<std::int64_t, std::string> homes_;
    bool areAllHomesKnown_ = false;
    /// Homes and numbers of the clients that something says they have.
    std::set<std::pair<std::int64_t, std::int64_t>> clients_;

    SqliteStatement home_;
    SqliteStatement settings_;
    SqliteStatement client_;
    SqliteStatement outboxUp_;
    SqliteStatement outboxDown_;
};

}  // namespace xel
