#include "XelPushClient/Linux/Store/OldStore.h"

#include <limits>
#include <utility>

#include <sqlite3.h>

namespace xel {
namespace {

/// Takes each row until one of them answers another code than SQLITE_OK.
template <class Take>
int forEachRow(SqliteStatement& statement, Take take) {
    int code = statement.step();
    int taken = SQLITE_OK;
    for (; code == SQLITE_ROW && taken == SQLITE_OK; code = taken == SQLITE_OK ? statement.step() : code) {
        taken = take();
    }
    statement.reset();
    return taken != SQLITE_OK || code == SQLITE_DONE ? taken : code;
}

}  // namespace

int OldStore::open(const std::string& path) {
    int code = image_.open(path);
    if (code == SQLITE_OK) {
        code = prepare();
    }
    return code == SQLITE_OK ? readJournal() : code;
}

int OldStore::prepare() {
    SqliteStatement journal;
    int code = image_.prepare(journal, "SELECT 1 FROM journal");
    const bool isFirst = !journal.isPrepared();
    const std::pair<SqliteStatement*, std::string_view> statements[] = {
        {&homes_, isFirst ? "SELECT 1, 'home'" : "SELECT id, name FROM homes"},
        {&settings_, isFirst ? "SELECT key, value FROM defaults WHERE ?1=1"
                             : "SELECT key, value FROM defaults WHERE home=?1"},
        {&clients_, isFirst ? "SELECT id, name, topics FROM clients WHERE ?1=1"
                            : "SELECT id, name, topics FROM clients WHERE home=?1"},
        // Of two publications under one packet identifier the newer one counts: the other one's removal was
        // put off.
        {&outbox_, "SELECT packet, retain, topic, payload FROM outbox WHERE client=?1 ORDER BY seq"},
    };
    for (const auto& [statement, sql] : statements) {
        code = code == SQLITE_OK ? image_.prepare(*statement, sql) : code;
        code = code == SQLITE_OK && !statement->isPrepared() ? SQLITE_CORRUPT : code;
    }
    return code;
}

int OldStore::readJournal() {
    SqliteStatement journal;
    const int code = image_.prepare(journal, "SELECT run, store FROM journal");
    if (code != SQLITE_OK || !journal.isPrepared()) {
        return code;
    }
    return forEachRow(journal, [&] {
        run_ = static_cast<std::uint64_t>(journal.integer(0));
        store_ = static_cast<std::uint64_t>(journal.integer(1));
        return SQLITE_OK;
    });
}

int OldStore::forEachHome(const TakeHome& take) {
    return forEachRow(homes_, [&] {
        HomeCopy contents;
        const int code = read(homes_.integer(0), contents);
        return code == SQLITE_OK ? take(homes_.octets(1), contents) : code;
    });
}

int OldStore::read(std::int64_t home, HomeCopy& contents) {
    settings_.bind(1, home);
    int code = forEachRow(settings_, [&] {
        contents.settings.emplace_back(settings_.octets(0), settings_.octets(1));
        return SQLITE_OK;
    });
    if (code != SQLITE_OK) {
        return code;
    }
    clients_.bind(1, home);
    code = forEachRow(clients_, [&] {
        HomeCopy::Client client{std::string(clients_.octets(1)), std::string(clients_.octets(2)), {}};
        const int read = readOutbox(clients_.integer(0), client);
        contents.clients.push_back(std::move(client));
        return read;
    });
    return code;
}

int OldStore::readOutbox(std::int64_t id, HomeCopy::Client& client) {
    outbox_.bind(1, id);
    return forEachRow(outbox_, [&] {
        const std::int64_t packetId = outbox_.integer(0);
        if (packetId > 0 && packetId <= std::numeric_limits<std::uint16_t>::max()) {
            client.outbox.push_back({static_cast<std::uint16_t>(packetId), std::string(outbox_.octets(2)),
                                     std::string(outbox_.octets(3)), outbox_.integer(1) != 0});
        }
        return SQLITE_OK;
    });
}

}  // namespace xel
