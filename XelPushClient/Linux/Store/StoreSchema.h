#pragma once

#include <string_view>

namespace xel {

// The tables of a store's database, as SQLite keeps their texts too: a table of another text is none of ours.
//
// Each row has a sum (RowSums.h). A home's row and a client's have what the sums of the rows under them come
// to, by exclusive or, so that a row that is missing is noticed. A sum stands before what may be long: it is
// read without that.

inline constexpr std::string_view kHomesTable =
    "CREATE TABLE homes(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, run INTEGER NOT NULL,"
    " settings INTEGER NOT NULL, clients INTEGER NOT NULL, sum INTEGER NOT NULL)";

inline constexpr std::string_view kDefaultsTable =
    "CREATE TABLE defaults(home INTEGER NOT NULL, key TEXT NOT NULL, sum INTEGER NOT NULL,"
    " value BLOB NOT NULL, PRIMARY KEY(home, key)) WITHOUT ROWID";

inline constexpr std::string_view kClientsTable =
    "CREATE TABLE clients(id INTEGER PRIMARY KEY, home INTEGER NOT NULL, name TEXT NOT NULL,"
    " outbox INTEGER NOT NULL, sum INTEGER NOT NULL, topics BLOB NOT NULL, UNIQUE(home, name))";

inline constexpr std::string_view kOutboxTable =
    "CREATE TABLE outbox(client INTEGER NOT NULL, packet INTEGER NOT NULL, seq INTEGER NOT NULL,"
    " retain INTEGER NOT NULL, sum INTEGER NOT NULL, topic TEXT NOT NULL, payload BLOB NOT NULL,"
    " PRIMARY KEY(client, packet)) WITHOUT ROWID";

/// Of one row, or none as long as the store is new.
inline constexpr std::string_view kJournalTable =
    "CREATE TABLE journal(id INTEGER PRIMARY KEY, run INTEGER NOT NULL, store INTEGER NOT NULL,"
    " sum INTEGER NOT NULL)";

inline constexpr std::string_view kStoreTables[] = {kHomesTable, kDefaultsTable, kClientsTable, kOutboxTable,
                                                    kJournalTable};

}  // namespace xel
