#include "XelPushClient/Linux/Store/StoreDatabase.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <sqlite3.h>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Linux/Store/RowSums.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel {
namespace {

bool isPacketId(std::int64_t number) {
    return number > 0 && number <= std::numeric_limits<std::uint16_t>::max();
}

}  // namespace

Result<void> StoreDatabase::open(const std::string& path) {
    if (auto opened = connection_.open(path); !opened) {
        return opened;
    }
    isOld_ = connection_.isOld();
    if (isOld_) {
        connection_.close();
        return {};
    }
    for (const auto step :
         {&StoreDatabase::prepare, &StoreDatabase::readJournal, &StoreDatabase::readRunsOfHomes}) {
        if (auto done = (this->*step)(); !done) {
            return done;
        }
    }
    return {};
}

void StoreDatabase::close() {
    writer_ = {};
    for (SqliteStatement* const statement :
         {&selectSettings_, &selectClients_, &selectOutbox_, &selectTopics_}) {
        *statement = {};
    }
    connection_.close();
}

Result<void> StoreDatabase::prepare() {
    if (const int code = writer_.prepare(connection_.handle()); code != SQLITE_OK) {
        return connection_.errorFor(code);
    }
    const std::pair<SqliteStatement*, std::string_view> statements[] = {
        {&selectSettings_,
         "SELECT home, key, sum, value FROM defaults WHERE home=(SELECT id FROM homes WHERE name=?1)"},
        {&selectClients_, "SELECT name FROM clients WHERE home=(SELECT id FROM homes WHERE name=?1)"},
        {&selectOutbox_,
         "SELECT client, packet, seq, retain, sum, topic, payload FROM outbox WHERE client="
         "(SELECT clients.id FROM clients JOIN homes ON homes.id=home WHERE homes.name=?1 AND clients.name=?2)"
         " ORDER BY seq"},
        {&selectTopics_,
         "SELECT clients.id, home, outbox, clients.sum, clients.name, topics FROM clients"
         " JOIN homes ON homes.id=home WHERE homes.name=?1 AND clients.name=?2"},
    };
    for (const auto& [statement, sql] : statements) {
        if (const int code = statement->prepare(connection_.handle(), sql); code != SQLITE_OK) {
            return connection_.errorFor(code);
        }
    }
    return {};
}

Result<void> StoreDatabase::readJournal() {
    SqliteStatement journal;
    int code = journal.prepare(connection_.handle(), "SELECT run, store, sum FROM journal");
    if (code == SQLITE_OK) {
        code = journal.step();
    }
    if (code != SQLITE_ROW) {
        return code == SQLITE_DONE ? Result<void>() : connection_.errorFor(code);
    }
    if (journal.integer(2) != sumOfJournal(journal.integer(0), journal.integer(1))) {
        return makeStoreError(
            StoreErrorCode::Damaged,
            "the store " + connection_.path() + " is damaged (what it says of its journal is wrong)");
    }
    lastRun_ = static_cast<std::uint64_t>(journal.integer(0));
    store_ = static_cast<std::uint64_t>(journal.integer(1));
    return {};
}

Result<void> StoreDatabase::readRunsOfHomes() {
    SqliteStatement homes;
    int code = homes.prepare(connection_.handle(), "SELECT id, run, settings, clients, sum, name FROM homes");
    for (code = code == SQLITE_OK ? homes.step() : code; code == SQLITE_ROW; code = homes.step()) {
        const HomeRow row{homes.integer(0), homes.integer(1), homes.integer(2), homes.integer(3)};
        if (homes.integer(4) == sumOfHome(row, homes.octets(5))) {
            lastRunOfAHome_ = std::max(lastRunOfAHome_, static_cast<std::uint64_t>(row.run));
        }
    }
    return code == SQLITE_DONE ? Result<void>() : connection_.errorFor(code);
}

Result<void> StoreDatabase::setStore(std::uint64_t store) {
    if (const int code = writer_.setJournal(lastRun_, store); code != SQLITE_OK) {
        return connection_.errorFor(code);
    }
    store_ = store;
    return {};
}

Result<void> StoreDatabase::inTransaction(const std::function<int(StoreWriter&)>& work) {
    int code = connection_.begin();
    if (code == SQLITE_OK) {
        code = work(writer_);
    }
    if (code == SQLITE_OK) {
        code = connection_.end();
    }
    if (code != SQLITE_OK) {
        auto error = connection_.errorFor(code);
        connection_.giveUp();
        return error;
    }
    return {};
}

Result<void> StoreDatabase::bringIn(const StoreFold& changes, std::uint64_t run) {
    auto brought = inTransaction([&](StoreWriter& writer) {
        const int code = writer.bringIn(changes, run);
        return code == SQLITE_OK ? writer.setJournal(run, store_) : code;
    });
    if (brought) {
        lastRun_ = run;
    }
    return brought;
}

Result<void> StoreDatabase::loadSettings(std::string_view home, const TakeSetting& take) {
    const OnLeaving reset([this] { selectSettings_.reset(); });
    selectSettings_.bindText(1, home);
    int code = selectSettings_.step();
    for (; code == SQLITE_ROW; code = selectSettings_.step()) {
        const std::string_view key = selectSettings_.octets(1);
        const std::string_view value = selectSettings_.octets(3);
        const bool isSound =
            selectSettings_.integer(2) == sumOfSetting(selectSettings_.integer(0), key, value);
        take(key, isSound ? value : kDamaged);
    }
    return code == SQLITE_DONE ? Result<void>() : connection_.errorFor(code);
}

Result<void> StoreDatabase::loadClients(std::string_view home, const TakeClient& take) {
    const OnLeaving reset([this] { selectClients_.reset(); });
    selectClients_.bindText(1, home);
    int code = selectClients_.step();
    for (; code == SQLITE_ROW; code = selectClients_.step()) {
        take(selectClients_.octets(0));
    }
    return code == SQLITE_DONE ? Result<void>() : connection_.errorFor(code);
}

Result<StoreDatabase::Outbox> StoreDatabase::outbox(std::string_view home, std::string_view clientId) {
    Outbox outbox;
    SqliteStatement& select = selectOutbox_;
    const OnLeaving reset([&select] { select.reset(); });
    select.bindText(1, home);
    select.bindText(2, clientId);
    int code = select.step();
    for (; code == SQLITE_ROW; code = select.step()) {
        const PublicationRow row{select.integer(0), select.integer(1), select.integer(2), select.integer(3)};
        if (!isPacketId(row.packetId) ||
            select.integer(4) != sumOfPublication(row, select.octets(5), select.octets(6))) {
            ++outbox.damaged;
            continue;
        }
        outbox.entries.push_back({.packetId = static_cast<std::uint16_t>(row.packetId),
                                  .topic = std::string(select.octets(5)),
                                  .payload = std::string(select.octets(6)),
                                  .retain = row.retain != 0});
    }
    if (code != SQLITE_DONE) {
        return connection_.errorFor(code);
    }
    return outbox;
}

Result<std::optional<std::string>> StoreDatabase::topics(std::string_view home, std::string_view clientId) {
    SqliteStatement& select = selectTopics_;
    const OnLeaving reset([&select] { select.reset(); });
    select.bindText(1, home);
    select.bindText(2, clientId);
    const int code = select.step();
    if (code == SQLITE_DONE) {
        return std::optional<std::string>();
    }
    if (code != SQLITE_ROW) {
        return connection_.errorFor(code);
    }
    const std::string_view topics = select.octets(5);
    const ClientRow row{select.integer(0), select.integer(1), select.integer(2)};
    if (select.integer(3) != sumOfClient(row, select.octets(4), topics)) {
        return std::optional(std::string(kDamaged));
    }
    return topics.empty() ? std::optional<std::string>() : std::optional(std::string(topics));
}

}  // namespace xel
