#include "XelPushClient/Linux/Store/StoreWriter.h"

#include <utility>

#include <sqlite3.h>

#include "XelPushClient/Linux/Store/ValueCodec.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {
namespace {

/// More than a run has publications.
constexpr std::uint64_t kPlacesOfARun = std::uint64_t{1} << 32U;

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

int StoreWriter::prepare(sqlite3* database) {
    const std::pair<SqliteStatement*, std::string_view> statements[] = {
        {&findHome_, "SELECT id, run, settings, clients, sum FROM homes WHERE name=?1"},
        {&addHome_,
         "INSERT INTO homes(name, run, settings, clients, sum) VALUES(?1, 0, 0, 0, 0) RETURNING id"},
        {&sealHome_, "UPDATE homes SET run=?2, settings=?3, clients=?4, sum=?5 WHERE id=?1"},
        {&readSetting_, "SELECT sum, value FROM defaults WHERE home=?1 AND key=?2"},
        {&sumOfSetting_, "SELECT sum FROM defaults WHERE home=?1 AND key=?2"},
        {&setSetting_,
         "INSERT INTO defaults(home, key, sum, value) VALUES(?1, ?2, ?3, ?4)"
         " ON CONFLICT(home, key) DO UPDATE SET sum=excluded.sum, value=excluded.value"},
        {&removeSetting_, "DELETE FROM defaults WHERE home=?1 AND key=?2"},
        {&findClient_, "SELECT id, outbox, sum, topics FROM clients WHERE home=?1 AND name=?2"},
        {&addClient_,
         "INSERT INTO clients(home, name, outbox, sum, topics) VALUES(?1, ?2, 0, 0, x'') RETURNING id"},
        {&sealClient_, "UPDATE clients SET outbox=?2, sum=?3, topics=?4 WHERE id=?1"},
        {&eraseClient_, "DELETE FROM clients WHERE id=?1"},
        {&hasOutbox_, "SELECT EXISTS(SELECT 1 FROM outbox WHERE client=?1)"},
        {&append_,
         "INSERT OR REPLACE INTO outbox(client, packet, seq, retain, sum, topic, payload)"
         " VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7)"},
        {&sumOfPublication_, "SELECT sum FROM outbox WHERE client=?1 AND packet=?2"},
        {&remove_, "DELETE FROM outbox WHERE client=?1 AND packet=?2"},
        {&eraseOutbox_, "DELETE FROM outbox WHERE client=?1"},
        {&setJournal_, "REPLACE INTO journal(id, run, store, sum) VALUES(1, ?1, ?2, ?3)"},
    };
    for (const auto& [statement, sql] : statements) {
        if (const int code = statement->prepare(database, sql); code != SQLITE_OK) {
            return code;
        }
    }
    return SQLITE_OK;
}

int StoreWriter::setJournal(std::uint64_t run, std::uint64_t store) {
    const auto number = static_cast<std::int64_t>(run);
    const auto name = static_cast<std::int64_t>(store);
    setJournal_.bind(1, number);
    setJournal_.bind(2, name);
    setJournal_.bind(3, sumOfJournal(number, name));
    return setJournal_.run();
}

// Each step keeps SQLite's code, and none follows one that failed.

int StoreWriter::bringIn(const StoreFold& changes, std::uint64_t run) {
    code_ = SQLITE_OK;
    for (const auto& [name, home] : changes.homes()) {
        findHome(name);
        // Where the home's row is damaged, its run may be any number.
        if (homeDamage_ != 0 || home_.run < static_cast<std::int64_t>(run)) {
            writeHome(name, home, run);
        }
        if (code_ != SQLITE_OK) {
            return code_;
        }
    }
    return code_;
}

int StoreWriter::bringIn(std::string_view name, const StoreFold::Home& contents, std::uint64_t run) {
    code_ = SQLITE_OK;
    home_ = {};
    homeDamage_ = 0;
    writeHome(name, contents, run);
    return code_;
}

void StoreWriter::perform(SqliteStatement& statement) {
    if (code_ == SQLITE_OK) {
        code_ = statement.run();
    }
}

/// The one number that the statement answers, or none.
bool StoreWriter::take(SqliteStatement& statement, std::int64_t& number) {
    if (code_ != SQLITE_OK) {
        return false;
    }
    const int code = statement.step();
    number = code == SQLITE_ROW ? statement.integer(0) : 0;
    const int ended = statement.reset();
    code_ = code == SQLITE_ROW || code == SQLITE_DONE ? ended : code;
    return code == SQLITE_ROW && code_ == SQLITE_OK;
}

// ---- The home.

void StoreWriter::findHome(std::string_view name) {
    home_ = {};
    homeDamage_ = 0;
    findHome_.bindText(1, name);
    const int code = findHome_.step();
    if (code == SQLITE_ROW) {
        home_ = {findHome_.integer(0), findHome_.integer(1), findHome_.integer(2), findHome_.integer(3)};
        homeDamage_ = findHome_.integer(4) ^ sumOfHome(home_, name);
    }
    const int ended = findHome_.reset();
    code_ = code == SQLITE_ROW || code == SQLITE_DONE ? ended : code;
}

void StoreWriter::writeHome(std::string_view name, const StoreFold::Home& changes, std::uint64_t run) {
    firstPlace_ = static_cast<std::int64_t>(run * kPlacesOfARun);
    if (home_.id == 0) {
        addHome_.bindText(1, name);
        (void)take(addHome_, home_.id);
    }
    for (const auto& [key, setting] : changes.settings) {
        write(key, setting);
    }
    for (const auto& [clientId, client] : changes.clients) {
        write(clientId, client);
    }
    home_.run = static_cast<std::int64_t>(run);
    sealHome_.bind(1, home_.id);
    sealHome_.bind(2, home_.run);
    sealHome_.bind(3, home_.settings);
    sealHome_.bind(4, home_.clients);
    sealHome_.bind(5, sumOfHome(home_, name) ^ homeDamage_);
    perform(sealHome_);
}

// ---- Its settings.

void StoreWriter::write(std::string_view key, const StoreFold::Setting& setting) {
    std::int64_t formerSum = 0;
    sumOfSetting_.bind(1, home_.id);
    sumOfSetting_.bindText(2, key);
    const bool isThere = take(sumOfSetting_, formerSum);
    if (setting.isAppendedTo()) {
        set(key, appended(key, setting));
    } else if (setting.value) {
        set(key, *setting.value);
    } else if (isThere) {
        removeSetting_.bind(1, home_.id);
        removeSetting_.bindText(2, key);
        perform(removeSetting_);
    }
    home_.settings ^= formerSum;
}

void StoreWriter::set(std::string_view key, std::string_view value) {
    const std::int64_t sum = sumOfSetting(home_.id, key, value);
    setSetting_.bind(1, home_.id);
    setSetting_.bindText(2, key);
    setSetting_.bind(3, sum);
    setSetting_.bindOctets(4, value);
    perform(setSetting_);
    home_.settings ^= sum;
}

std::string StoreWriter::appended(std::string_view key, const StoreFold::Setting& setting) {
    Array array;
    if (setting.value) {
        array = arrayFrom(*setting.value);
    } else if (!setting.isRemovedFirst && code_ == SQLITE_OK) {
        readSetting_.bind(1, home_.id);
        readSetting_.bindText(2, key);
        const int code = readSetting_.step();
        if (code == SQLITE_ROW) {
            const std::string_view stored = readSetting_.octets(1);
            const bool isSound = readSetting_.integer(0) == sumOfSetting(home_.id, key, stored);
            array = isSound ? arrayFrom(stored) : Array();
        }
        const int ended = readSetting_.reset();
        code_ = code == SQLITE_ROW || code == SQLITE_DONE ? ended : code;
    }
    appendTexts(array, setting.texts, setting.mostKept);
    std::string encoded;
    (void)appendEncodedValue(Value(std::move(array)), encoded);  // as deep as what was read
    return encoded;
}

// ---- Its clients.

void StoreWriter::write(std::string_view clientId, const StoreFold::Client& changes) {
    Client client = findClient(clientId);
    if (changes.isErasedFirst && client.row.id != 0) {
        erase(client);
        client = {};
    }
    if (changes.isErasedFirst && !changes.topics && changes.appended.empty()) {
        return;
    }
    if (client.row.id == 0) {
        addClient(clientId, client);
    }
    if (changes.topics) {
        client.topics = *changes.topics;
        client.damage = 0;
    }
    // Most that are removed were appended in the same run: a client that keeps up has nothing stored.
    std::int64_t hasOutbox = 0;
    hasOutbox_.bind(1, client.row.id);
    if (take(hasOutbox_, hasOutbox) && hasOutbox != 0) {
        remove(client, changes.removed);
    }
    for (const auto& [place, publication] : changes.appended) {
        append(client, firstPlace_ + static_cast<std::int64_t>(place), publication);
    }
    seal(clientId, client);
}

StoreWriter::Client StoreWriter::findClient(std::string_view clientId) {
    Client client;
    client.row.home = home_.id;
    if (code_ != SQLITE_OK) {
        return client;
    }
    findClient_.bind(1, home_.id);
    findClient_.bindText(2, clientId);
    const int code = findClient_.step();
    if (code == SQLITE_ROW) {
        client.row.id = findClient_.integer(0);
        client.row.outbox = findClient_.integer(1);
        client.sum = findClient_.integer(2);
        client.topics = findClient_.octets(3);
        client.damage = client.sum ^ sumOfClient(client.row, clientId, client.topics);
    }
    const int ended = findClient_.reset();
    code_ = code == SQLITE_ROW || code == SQLITE_DONE ? ended : code;
    return client;
}

void StoreWriter::addClient(std::string_view clientId, Client& client) {
    client.row.home = home_.id;
    addClient_.bind(1, home_.id);
    addClient_.bindText(2, clientId);
    (void)take(addClient_, client.row.id);
}

void StoreWriter::seal(std::string_view clientId, Client& client) {
    const std::int64_t sum = sumOfClient(client.row, clientId, client.topics) ^ client.damage;
    sealClient_.bind(1, client.row.id);
    sealClient_.bind(2, client.row.outbox);
    sealClient_.bind(3, sum);
    sealClient_.bindOctets(4, client.topics);
    perform(sealClient_);
    home_.clients ^= client.sum ^ sum;
}

void StoreWriter::erase(const Client& client) {
    for (SqliteStatement* const statement : {&eraseOutbox_, &eraseClient_}) {
        statement->bind(1, client.row.id);
        perform(*statement);
    }
    home_.clients ^= client.sum;
}

void StoreWriter::remove(Client& client, const std::set<std::uint16_t>& packetIds) {
    for (const std::uint16_t packetId : packetIds) {
        std::int64_t sum = 0;
        sumOfPublication_.bind(1, client.row.id);
        sumOfPublication_.bind(2, packetId);
        // Looked for first: to delete what is not there costs more, and to have its sum returned most of all.
        if (take(sumOfPublication_, sum)) {
            remove_.bind(1, client.row.id);
            remove_.bind(2, packetId);
            perform(remove_);
            client.row.outbox ^= sum;
        }
    }
}

void StoreWriter::append(Client& client, std::int64_t place, const StoredPublication& publication) {
    const PublicationRow row{client.row.id, publication.packetId, place, publication.retain ? 1 : 0};
    const std::int64_t sum = sumOfPublication(row, publication.topic, publication.payload);
    append_.bind(1, row.client);
    append_.bind(2, row.packetId);
    append_.bind(3, row.place);
    append_.bind(4, row.retain);
    append_.bind(5, sum);
    append_.bindText(6, publication.topic);
    append_.bindOctets(7, publication.payload);
    perform(append_);
    client.row.outbox ^= sum;
}

}  // namespace xel
