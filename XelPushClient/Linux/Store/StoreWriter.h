#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "XelPushClient/Linux/Store/RowSums.h"
#include "XelPushClient/Linux/Store/SqliteStatement.h"
#include "XelPushClient/Linux/Store/StoreFold.h"

namespace xel {

/// Brings changes into the tables of a store, and keeps the sums there.
///
/// What was damaged before stays so: a row whose sum is wrong has a wrong one afterwards too, unless all of
/// it was written anew. Results are SQLite's codes. Thread: the holder of the connection, within a
/// transaction.
class StoreWriter {
public:
    [[nodiscard]] int prepare(sqlite3* database);

    /// Brings in what a run of the journal has changed, of homes that do not have it yet.
    [[nodiscard]] int bringIn(const StoreFold& changes, std::uint64_t run);

    /// Brings in a home as it is after that run, into a store that does not have it.
    [[nodiscard]] int bringIn(std::string_view name, const StoreFold::Home& contents, std::uint64_t run);

    /// Which store it is, and the last run that is in it.
    [[nodiscard]] int setJournal(std::uint64_t run, std::uint64_t store);

private:
    struct Client {
        ClientRow row;
        std::int64_t sum = 0;
        std::int64_t damage = 0;  ///< by what its stored sum was wrong
        std::string topics;
    };

    void perform(SqliteStatement& statement);
    [[nodiscard]] bool take(SqliteStatement& statement, std::int64_t& number);
    void findHome(std::string_view name);
    void writeHome(std::string_view name, const StoreFold::Home& changes, std::uint64_t run);

    void write(std::string_view key, const StoreFold::Setting& setting);
    void set(std::string_view key, std::string_view value);
    [[nodiscard]] std::string appended(std::string_view key, const StoreFold::Setting& setting);

    void write(std::string_view clientId, const StoreFold::Client& client);
    [[nodiscard]] Client findClient(std::string_view clientId);
    void addClient(std::string_view clientId, Client& client);
    void seal(std::string_view clientId, Client& client);
    void erase(const Client& client);
    void remove(Client& client, const std::set<std::uint16_t>& packetIds);
    void append(Client& client, std::int64_t place, const StoredPublication& publication);

    // What the home's statements find.
    int code_ = 0;
    HomeRow home_;
    std::int64_t homeDamage_ = 0;
    std::int64_t firstPlace_ = 0;

    SqliteStatement findHome_;
    SqliteStatement addHome_;
    SqliteStatement sealHome_;
    SqliteStatement readSetting_;
    SqliteStatement sumOfSetting_;
    SqliteStatement setSetting_;
    SqliteStatement removeSetting_;
    SqliteStatement findClient_;
    SqliteStatement addClient_;
    SqliteStatement sealClient_;
    SqliteStatement eraseClient_;
    SqliteStatement hasOutbox_;
    SqliteStatement append_;
    SqliteStatement sumOfPublication_;
    SqliteStatement remove_;
    SqliteStatement eraseOutbox_;
    SqliteStatement setJournal_;
};

}  // namespace xel
