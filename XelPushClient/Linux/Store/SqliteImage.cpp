#include "XelPushClient/Linux/Store/SqliteImage.h"

#include <cctype>

#include <sqlite3.h>

namespace xel {
namespace {

// A file that is shorter than it says is read as far as it goes, and tables of which nothing can be made are
// left out, only where the schema may be written to; the file itself never is. An order of cells that cannot
// be is noticed with each page.
constexpr const char* kReadOnlySetUp =
    "PRAGMA writable_schema=ON;"
    "PRAGMA trusted_schema=OFF;"
    "PRAGMA cell_size_check=ON;"
    "PRAGMA mmap_size=0;"
    "PRAGMA cache_size=-4096;"
    "BEGIN;";

/// https://sqlite.org/uri.html
std::string immutableUri(const std::string& path) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string uri = "file:";
    for (const char octet : path) {
        const auto number = static_cast<unsigned char>(octet);
        if (std::isalnum(number) != 0 || std::string_view("/-_.~").find(octet) != std::string_view::npos) {
            uri += octet;
        } else {
            uri += {'%', kDigits[number >> 4U], kDigits[number & 0xfU]};
        }
    }
    return uri + "?immutable=1";
}

}  // namespace

void SqliteImage::Close::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}

int SqliteImage::open(const std::string& path) {
    sqlite3* database = nullptr;
    const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    int code = sqlite3_open_v2(immutableUri(path).c_str(), &database, flags, nullptr);
    database_.reset(database);
    if (code == SQLITE_OK) {
        int isSet = 0;
        sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 0, &isSet);
        code = sqlite3_exec(database, kReadOnlySetUp, nullptr, nullptr, nullptr);
    }
    return code;
}

int SqliteImage::prepare(SqliteStatement& statement, std::string_view sql, std::string_view table) {
    int code = SQLITE_OK;
    if (!table.empty()) {
        SqliteStatement isThere;
        code = isThere.prepare(database_.get(), "SELECT 1 FROM sqlite_schema WHERE type='table' AND sql=?1");
        if (code == SQLITE_OK) {
            isThere.bindText(1, table);
            code = isThere.step();
        }
        if (code == SQLITE_DONE) {
            return SQLITE_OK;
        }
        code = code == SQLITE_ROW ? SQLITE_OK : code;
    }
    if (code == SQLITE_OK) {
        code = statement.prepare(database_.get(), sql);
    }
    return saysDamage(code) ? SQLITE_OK : code;
}

bool SqliteImage::saysDamage(int code) const {
    // SQLITE_ERROR: there is no such table, or another one. SQLITE_TOOBIG: a length that cannot be.
    return xel::saysDamage(code, database_.get()) || (code & 0xff) == SQLITE_ERROR ||
           (code & 0xff) == SQLITE_TOOBIG;
}

std::string SqliteImage::words() const {
    return database_ ? sqlite3_errmsg(database_.get()) : std::string();
}

}  // namespace xel
