#include "XelPushClient/Linux/Store/StoreDatabase.h"

#include <limits>
#include <set>
#include <utility>

#include <sqlite3.h>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/Linux/Store/StoreFold.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {
namespace {

/// More than a run has publications.
constexpr std::uint64_t kPlacesOfARun = std::uint64_t{1} << 32U;

bool isPacketId(std::int64_t number) {
    return number > 0 && number <= std::numeric_limits<std::uint16_t>::max();
}

/// The array behind which texts are appended: an empty one where something else is stored, or nothing
/// readable.
Array arrayFrom(std::string_view stored) {
    if (!stored.empty()) {
        auto value = decodeValue(stored);
        if (Array* const array = value ? value.value().asArray() : nullptr) {
            return std::move(*array);
        }
    }
    return {};
}

}  // namespace

Result<void> StoreDatabase::open(const std::string& path) {
    if (auto opened = connection_.open(path); !opened) {
        return opened;
    }
    if (auto prepared = prepare(); !prepared) {
        return prepared;
    }
    SqliteStatement run;
    int code = run.prepare(connection_.handle(), "SELECT run, store FROM journal");
    if (code == SQLITE_OK) {
        code = run.step();
    }
    if (code == SQLITE_ROW) {
        lastRun_ = static_cast<std::uint64_t>(run.integer(0));
        store_ = static_cast<std::uint64_t>(run.integer(1));
        return {};
    }
    return code == SQLITE_DONE ? Result<void>() : connection_.errorFor(code);
}

Result<void> StoreDatabase::prepare() {
    const std::pair<SqliteStatement*, std::string_view> statements[] = {
        {&addHome_,
         "INSERT INTO homes(name) VALUES(?1) ON CONFLICT(name) DO UPDATE SET name=name RETURNING id"},
        {&addClient_,
         "INSERT INTO clients(home, name) VALUES(?1, ?2)"
         " ON CONFLICT(home, name) DO UPDATE SET name=name RETURNING id"},
        {&readSetting_, "SELECT value FROM defaults WHERE home=?1 AND key=?2"},
        {&setSetting_,
         "INSERT INTO defaults(home, key, value) VALUES(?1, ?2, ?3)"
         " ON CONFLICT(home, key) DO UPDATE SET value=excluded.value"},
        {&removeSetting_, "DELETE FROM defaults WHERE home=?1 AND key=?2"},
        {&setTopics_, "UPDATE clients SET topics=?2 WHERE id=?1"},
        {&append_,
         "INSERT OR REPLACE INTO outbox(client, packet, seq, retain, topic, payload)"
         " VALUES(?1, ?2, ?3, ?4, ?5, ?6)"},
        {&remove_, "DELETE FROM outbox WHERE client=?1 AND packet=?2"},
        {&eraseOutbox_, "DELETE FROM outbox WHERE client=(SELECT id FROM clients WHERE home=?1 AND name=?2)"},
        {&eraseClient_, "DELETE FROM clients WHERE home=?1 AND name=?2"},
        {&setRun_, "UPDATE journal SET run=?1"},
        {&setStore_, "UPDATE journal SET store=?1"},
        {&hasOutbox_, "SELECT EXISTS(SELECT 1 FROM outbox WHERE client=?1)"},
        {&selectSettings_, "SELECT key, value FROM defaults WHERE home=(SELECT id FROM homes WHERE name=?1)"},
        {&selectClients_, "SELECT name FROM clients WHERE home=(SELECT id FROM homes WHERE name=?1)"},
        {&selectOutbox_,
         "SELECT packet, retain, topic, payload FROM outbox WHERE client="
         "(SELECT clients.id FROM clients JOIN homes ON homes.id=home WHERE homes.name=?1 AND clients.name=?2)"
         " ORDER BY seq"},
        {&selectTopics_,
         "SELECT topics FROM clients JOIN homes ON homes.id=home WHERE homes.name=?1 AND clients.name=?2"},
    };
    for (const auto& [statement, sql] : statements) {
        if (const int code = statement->prepare(connection_.handle(), sql); code != SQLITE_OK) {
            return connection_.errorFor(code);
        }
    }
    return {};
}

Result<void> StoreDatabase::setStore(std::uint64_t store) {
    setStore_.bind(1, static_cast<std::int64_t>(store));
    if (const int code = setStore_.run(); code != SQLITE_OK) {
        return connection_.errorFor(code);
    }
    store_ = store;
    return {};
}

/// Brings one run in. Each step answers SQLite's code, and none follows one that failed.
class StoreDatabase::Transaction {
public:
    explicit Transaction(StoreDatabase& database) : database_(database) {}

    [[nodiscard]] int bringIn(const StoreFold& changes, std::uint64_t run) {
        firstPlace_ = static_cast<std::int64_t>(run * kPlacesOfARun);
        for (const auto& [name, home] : changes.homes()) {
            database_.addHome_.bindText(1, name);
            if (!take(database_.addHome_, home_)) {
                return code_;
            }
            for (const auto& [key, setting] : home.settings) {
                bringIn(key, setting);
            }
            for (const auto& [clientId, client] : home.clients) {
                bringIn(clientId, client);
            }
        }
        database_.setRun_.bind(1, static_cast<std::int64_t>(run));
        perform(database_.setRun_);
        return code_;
    }

private:
    void perform(SqliteStatement& statement) {
        if (code_ == SQLITE_OK) {
            code_ = statement.run();
        }
    }

    /// The one number that the statement answers.
    [[nodiscard]] bool take(SqliteStatement& statement, std::int64_t& number) {
        if (code_ == SQLITE_OK) {
            const int code = statement.step();
            number = code == SQLITE_ROW ? statement.integer(0) : 0;
            const int ended = statement.reset();
            code_ = code == SQLITE_ROW ? ended : code;
        }
        return code_ == SQLITE_OK;
    }

    void bringIn(std::string_view key, const StoreFold::Setting& setting) {
        if (setting.isAppendedTo()) {
            set(key, appended(key, setting));
        } else if (setting.value) {
            set(key, *setting.value);
        } else {
            database_.removeSetting_.bind(1, home_);
            database_.removeSetting_.bindText(2, key);
            perform(database_.removeSetting_);
        }
    }

    void set(std::string_view key, std::string_view value) {
        database_.setSetting_.bind(1, home_);
        database_.setSetting_.bindText(2, key);
        database_.setSetting_.bindOctets(3, value);
        perform(database_.setSetting_);
    }

    [[nodiscard]] std::string appended(std::string_view key, const StoreFold::Setting& setting) {
        Array array;
        if (setting.value) {
            array = arrayFrom(*setting.value);
        } else if (!setting.isRemovedFirst && code_ == SQLITE_OK) {
            SqliteStatement& read = database_.readSetting_;
            read.bind(1, home_);
            read.bindText(2, key);
            const int code = read.step();
            array = code == SQLITE_ROW ? arrayFrom(read.octets(0)) : Array();
            const int ended = read.reset();
            code_ = code == SQLITE_ROW || code == SQLITE_DONE ? ended : code;
        }
        appendTexts(array, setting.texts, setting.mostKept);
        std::string encoded;
        (void)appendEncodedValue(Value(std::move(array)), encoded);  // as deep as what was read
        return encoded;
    }

    void bringIn(std::string_view clientId, const StoreFold::Client& client) {
        if (client.isErasedFirst) {
            erase(clientId);
        }
        if (client.isErasedFirst && !client.topics && client.appended.empty()) {
            return;
        }
        std::int64_t id = 0;
        database_.addClient_.bind(1, home_);
        database_.addClient_.bindText(2, clientId);
        if (!take(database_.addClient_, id)) {
            return;
        }
        if (client.topics) {
            database_.setTopics_.bind(1, id);
            database_.setTopics_.bindOctets(2, *client.topics);
            perform(database_.setTopics_);
        }
        // Most that are removed were appended in the same run: a client that keeps up has nothing stored.
        std::int64_t hasOutbox = 0;
        database_.hasOutbox_.bind(1, id);
        if (take(database_.hasOutbox_, hasOutbox) && hasOutbox != 0) {
            remove(id, client.removed);
        }
        for (const auto& [place, publication] : client.appended) {
            append(id, firstPlace_ + static_cast<std::int64_t>(place), publication);
        }
    }

    void remove(std::int64_t client, const std::set<std::uint16_t>& packetIds) {
        for (const std::uint16_t packetId : packetIds) {
            database_.remove_.bind(1, client);
            database_.remove_.bind(2, packetId);
            perform(database_.remove_);
        }
    }

    void erase(std::string_view clientId) {
        for (SqliteStatement* const statement : {&database_.eraseOutbox_, &database_.eraseClient_}) {
            statement->bind(1, home_);
            statement->bindText(2, clientId);
            perform(*statement);
        }
    }

    void append(std::int64_t client, std::int64_t place, const StoredPublication& publication) {
        SqliteStatement& append = database_.append_;
        append.bind(1, client);
        append.bind(2, publication.packetId);
        append.bind(3, place);
        append.bind(4, publication.retain ? 1 : 0);
        append.bindText(5, publication.topic);
        append.bindOctets(6, publication.payload);
        perform(append);
    }

    StoreDatabase& database_;
    int code_ = SQLITE_OK;
    std::int64_t home_ = 0;
    std::int64_t firstPlace_ = 0;
};

Result<void> StoreDatabase::bringIn(const StoreFold& changes, std::uint64_t run) {
    int code = connection_.begin();
    if (code == SQLITE_OK) {
        code = Transaction(*this).bringIn(changes, run);
    }
    if (code == SQLITE_OK) {
        code = connection_.end();
    }
    if (code != SQLITE_OK) {
        auto error = connection_.errorFor(code);
        connection_.giveUp();
        return error;
    }
    lastRun_ = run;
    return {};
}

Result<void> StoreDatabase::loadSettings(std::string_view home, const TakeSetting& take) {
    const OnLeaving reset([this] { selectSettings_.reset(); });
    selectSettings_.bindText(1, home);
    int code = selectSettings_.step();
    for (; code == SQLITE_ROW; code = selectSettings_.step()) {
        take(selectSettings_.octets(0), selectSettings_.octets(1));
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
    const OnLeaving reset([this] { selectOutbox_.reset(); });
    selectOutbox_.bindText(1, home);
    selectOutbox_.bindText(2, clientId);
    int code = selectOutbox_.step();
    for (; code == SQLITE_ROW; code = selectOutbox_.step()) {
        const std::int64_t packetId = selectOutbox_.integer(0);
        if (!isPacketId(packetId)) {
            ++outbox.damaged;
            continue;
        }
        outbox.entries.push_back({.packetId = static_cast<std::uint16_t>(packetId),
                                  .topic = std::string(selectOutbox_.octets(2)),
                                  .payload = std::string(selectOutbox_.octets(3)),
                                  .retain = selectOutbox_.integer(1) != 0});
    }
    if (code != SQLITE_DONE) {
        return connection_.errorFor(code);
    }
    return outbox;
}

Result<std::optional<std::string>> StoreDatabase::topics(std::string_view home, std::string_view clientId) {
    const OnLeaving reset([this] { selectTopics_.reset(); });
    selectTopics_.bindText(1, home);
    selectTopics_.bindText(2, clientId);
    const int code = selectTopics_.step();
    if (code == SQLITE_ROW && !selectTopics_.octets(0).empty()) {
        return std::optional(std::string(selectTopics_.octets(0)));
    }
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        return connection_.errorFor(code);
    }
    return std::optional<std::string>();
}

}  // namespace xel
