#include "XelPushClient/Linux/Store/DamagedStore.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include <sqlite3.h>

#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreSchema.h"
#include "XelPushClient/Linux/Store/ValueCodec.h"

namespace xel {
namespace {

// What a scan goes by, a number and a text, then the row's number and what else is wanted.
constexpr std::string_view kScansOfHomes[] = {
    "SELECT id, '', id, name FROM homes NOT INDEXED ORDER BY id",
    "SELECT id, '', id, name FROM homes NOT INDEXED ORDER BY id DESC",
    "SELECT 0, name, id, name FROM homes INDEXED BY sqlite_autoindex_homes_1 ORDER BY name",
    "SELECT 0, name, id, name FROM homes INDEXED BY sqlite_autoindex_homes_1 ORDER BY name DESC",
};
constexpr std::string_view kScansOfClients[] = {
    "SELECT id, '', id, home FROM clients NOT INDEXED ORDER BY id",
    "SELECT id, '', id, home FROM clients NOT INDEXED ORDER BY id DESC",
    "SELECT home, name, id, home FROM clients INDEXED BY sqlite_autoindex_clients_1 ORDER BY home, name",
    "SELECT home, name, id, home FROM clients INDEXED BY sqlite_autoindex_clients_1"
    " ORDER BY home DESC, name DESC",
};

bool goesDown(std::string_view scan) {
    return scan.ends_with("DESC");
}

constexpr std::int64_t kPacketIds = std::int64_t{std::numeric_limits<std::uint16_t>::max()} + 1;

/// A publication with its place in the outbox, which it keeps.
struct Placed {
    std::int64_t place = 0;
    OutboxEntry entry;
};

}  // namespace

DamagedStore::DamagedStore(std::string path) : path_(std::move(path)) {
    check(image_.open(path_));
    prepare();
    readJournal();
    findHomes();
    findClients();
}

// What is damaged only has less to say; what the machine could not do ends it.
void DamagedStore::check(int code) {
    if (code != SQLITE_OK && !image_.saysDamage(code) && !failure_) {
        failure_ = makeStoreError(StoreErrorCode::CannotOpen,
                                  "the damaged store " + path_ + " cannot be read (" + image_.words() + ")");
    }
}

void DamagedStore::prepare() {
    const std::tuple<SqliteStatement*, std::string_view, std::string_view> statements[] = {
        {&home_, kHomesTable, "SELECT name, run, settings, clients, sum FROM homes WHERE id=?1"},
        {&settings_, kDefaultsTable, "SELECT key, sum, value FROM defaults WHERE home=?1 ORDER BY key"},
        {&client_, kClientsTable, "SELECT home, name, outbox, sum, topics FROM clients WHERE id=?1"},
        {&outboxUp_, kOutboxTable,
         "SELECT packet, seq, retain, sum, topic, payload FROM outbox WHERE client=?1 AND packet>?2"
         " ORDER BY packet"},
        {&outboxDown_, kOutboxTable,
         "SELECT packet, seq, retain, sum, topic, payload FROM outbox WHERE client=?1 AND packet>?2"
         " ORDER BY packet DESC"},
    };
    for (const auto& [statement, table, sql] : statements) {
        check(image_.prepare(*statement, sql, table));
    }
}

/// Whether it came to the end; it stops at what cannot be read, and where a row is not taken.
bool DamagedStore::forEachRow(SqliteStatement& statement, const Take& take) {
    if (failure_ || !statement.isPrepared()) {
        return false;
    }
    int code = statement.step();
    while (code == SQLITE_ROW && take()) {
        code = statement.step();
    }
    if (code != SQLITE_ROW && code != SQLITE_DONE) {
        check(code);
    }
    statement.reset();
    return code == SQLITE_DONE;
}

// ---- What there is.

void DamagedStore::readJournal() {
    SqliteStatement journal;
    check(image_.prepare(journal, "SELECT run, store, sum FROM journal", kJournalTable));
    (void)forEachRow(journal, [&] {
        if (journal.integer(2) == sumOfJournal(journal.integer(0), journal.integer(1))) {
            run_ = static_cast<std::uint64_t>(journal.integer(0));
            store_ = static_cast<std::uint64_t>(journal.integer(1));
        }
        return true;
    });
}

// A page that leads back to an earlier one would go round for ever, so each row must be behind the last one.
bool DamagedStore::scan(std::string_view sql, std::string_view table, bool isFalling,
                        const std::function<void(const SqliteStatement&)>& take) {
    SqliteStatement rows;
    check(image_.prepare(rows, sql, table));
    std::optional<std::pair<std::int64_t, std::string>> last;
    return forEachRow(rows, [&] {
        std::pair<std::int64_t, std::string> place(rows.integer(0), rows.octets(1));
        if (last && (isFalling ? place >= *last : place <= *last)) {
            return false;
        }
        take(rows);
        last = std::move(place);
        return true;
    });
}

void DamagedStore::findHomes() {
    for (const std::string_view sql : kScansOfHomes) {
        const bool isWhole = scan(sql, kHomesTable, goesDown(sql), [this](const SqliteStatement& rows) {
            homes_.try_emplace(rows.integer(2), rows.octets(3));
        });
        areAllHomesKnown_ = areAllHomesKnown_ || isWhole;
    }
    for (auto& [id, name] : homes_) {
        const auto row = rowOfHome(id, &name);
        if (row && store_ == 0) {
            run_ = std::max(run_, static_cast<std::uint64_t>(row->run));
        }
    }
}

void DamagedStore::findClients() {
    for (const std::string_view sql : kScansOfClients) {
        (void)scan(sql, kClientsTable, goesDown(sql), [this](const SqliteStatement& rows) {
            clients_.emplace(rows.integer(3), rows.integer(2));
        });
    }
}

// ---- A home.

DamagedStore::Home DamagedStore::read(std::int64_t id) {
    Home home;
    const auto row = rowOfHome(id);
    if (!row || !readSettings(*row, home.contents)) {
        home.contents = {};
        return home;
    }
    home.isLost = false;
    home.run = static_cast<std::uint64_t>(row->run);
    readClients(*row, home);
    return home;
}

/// Its row, if the sum is right, and its name as that row says.
std::optional<HomeRow> DamagedStore::rowOfHome(std::int64_t id, std::string* name) {
    std::optional<HomeRow> found;
    home_.bind(1, id);
    (void)forEachRow(home_, [&] {
        const HomeRow row{id, home_.integer(1), home_.integer(2), home_.integer(3)};
        if (home_.integer(4) == sumOfHome(row, home_.octets(0))) {
            found = row;
            if (name != nullptr) {
                *name = home_.octets(0);
            }
        }
        return true;
    });
    return found;
}

// All of them or none: half an identity would be worse than none.
bool DamagedStore::readSettings(const HomeRow& row, HomeCopy& contents) {
    std::int64_t sums = 0;
    settings_.bind(1, row.id);
    const bool areAll = forEachRow(settings_, [&] {
        const std::string_view key = settings_.octets(0);
        const std::string_view value = settings_.octets(2);
        const std::int64_t sum = sumOfSetting(row.id, key, value);
        if (settings_.integer(1) != sum || !decodeValue(value)) {
            return false;
        }
        sums ^= sum;
        contents.settings.emplace_back(key, value);
        return true;
    });
    return areAll && sums == row.settings;
}

void DamagedStore::readClients(const HomeRow& row, Home& home) {
    std::int64_t sums = 0;
    for (auto each = clients_.lower_bound({row.id, std::numeric_limits<std::int64_t>::min()});
         each != clients_.end() && each->first == row.id; ++each) {
        if (const auto sum = readClient(each->second, row, home)) {
            sums ^= *sum;
        }
    }
    home.hasLostClients = sums != row.clients;
}

/// The client's sum, if it is right.
std::optional<std::int64_t> DamagedStore::readClient(std::int64_t id, const HomeRow& row, Home& home) {
    std::optional<std::int64_t> found;
    ClientRow client{id, row.id};
    client_.bind(1, id);
    (void)forEachRow(client_, [&] {
        client.outbox = client_.integer(2);
        const std::string_view topics = client_.octets(4);
        const std::int64_t sum = sumOfClient(client, client_.octets(1), topics);
        const bool isRight = client_.integer(0) == row.id && client_.integer(3) == sum;
        if (isRight && (topics.empty() || decodeTopics(topics))) {
            home.contents.clients.push_back({std::string(client_.octets(1)), std::string(topics), {}});
            found = sum;
        }
        return true;
    });
    if (found && !readOutbox(client, home.contents.clients.back().outbox)) {
        home.hasLostPublications = true;
    }
    return found;
}

/// Whether that is all; from both ends, so that a damaged page hides only what is on it.
bool DamagedStore::readOutbox(const ClientRow& row, std::vector<OutboxEntry>& outbox) {
    std::vector<Placed> found;
    std::int64_t sums = 0;
    std::int64_t highest = 0;
    const auto take = [&](SqliteStatement& rows, std::int64_t below) {
        const PublicationRow publication{row.id, rows.integer(0), rows.integer(1), rows.integer(2)};
        if (publication.packetId <= highest || publication.packetId >= below) {
            return false;
        }
        const std::int64_t sum = sumOfPublication(publication, rows.octets(4), rows.octets(5));
        if (rows.integer(3) == sum) {
            sums ^= sum;
            found.push_back({publication.place,
                             {static_cast<std::uint16_t>(publication.packetId), std::string(rows.octets(4)),
                              std::string(rows.octets(5)), publication.retain != 0}});
        }
        return true;
    };
    outboxUp_.bind(1, row.id);
    outboxUp_.bind(2, 0);
    const bool isAtEnd = forEachRow(outboxUp_, [&] {
        const bool isTaken = take(outboxUp_, kPacketIds);
        highest = isTaken ? outboxUp_.integer(0) : highest;
        return isTaken;
    });
    if (!isAtEnd) {
        std::int64_t lowest = kPacketIds;
        outboxDown_.bind(1, row.id);
        outboxDown_.bind(2, highest);
        (void)forEachRow(outboxDown_, [&] {
            const bool isTaken = take(outboxDown_, lowest);
            lowest = isTaken ? outboxDown_.integer(0) : lowest;
            return isTaken;
        });
    }
    std::sort(found.begin(), found.end(),
              [](const Placed& one, const Placed& other) { return one.place < other.place; });
    for (Placed& each : found) {
        outbox.push_back(std::move(each.entry));
    }
    return sums == row.outbox;
}

}  // namespace xel
