#include "sandbox/store/TagStore.h"

#include "sandbox/store/Database.h"

namespace xel::sandbox {
namespace {

using Statement = Database::Statement;

constexpr const char* kTagSchema =
    "CREATE TABLE IF NOT EXISTS tags ("
    " installation TEXT NOT NULL REFERENCES installations (id) ON DELETE CASCADE,"
    " tag TEXT NOT NULL, PRIMARY KEY (installation, tag)) WITHOUT ROWID;"
    "CREATE TRIGGER IF NOT EXISTS tags_stay_with_the_user AFTER UPDATE OF user ON installations"
    " WHEN old.user <> new.user BEGIN DELETE FROM tags WHERE installation = new.id; END";

}  // namespace

TagStore::TagStore(Database& database) : database_(database) {
    database_.run(kTagSchema);
}

std::int64_t TagStore::add(std::string_view user, std::string_view tag) {
    Statement(database_,
              "INSERT OR IGNORE INTO tags (installation, tag) SELECT id, ? FROM installations WHERE user = ?")
        .bind(tag)
        .bind(user)
        .run();
    return count(user, tag);
}

std::int64_t TagStore::remove(std::string_view user, std::string_view tag) {
    Statement(database_,
              "DELETE FROM tags WHERE tag = ? AND installation IN"
              " (SELECT id FROM installations WHERE user = ?)")
        .bind(tag)
        .bind(user)
        .run();
    return count(user, tag);
}

Json TagStore::tagsOf(std::string_view installation) const {
    Statement select(database_, "SELECT tag FROM tags WHERE installation = ? ORDER BY tag");
    select.bind(installation);
    Json tags = Json::array();
    while (select.step()) {
        tags.push_back(select.text(0));
    }
    return tags;
}

std::int64_t TagStore::count(std::string_view user, std::string_view tag) const {
    Statement select(database_,
                     "SELECT count(*) FROM tags JOIN installations ON id = installation"
                     " WHERE user = ? AND tag = ?");
    return select.bind(user).bind(tag).step() ? select.number(0) : 0;
}

}  // namespace xel::sandbox
