#pragma once

#include <cstdint>
#include <string_view>

#include "sandbox/relay/Json.h"

namespace xel::sandbox {

class Database;

/// The tags that installations carry. A user's tag is given to every installation that the user has at that
/// moment; one made later does not carry it. An installation that is removed, or saved for another user,
/// loses its tags.
///
/// Made after the InstallationStore on the same database, whose thread and errors it shares.
class TagStore {
public:
    explicit TagStore(Database& database);

    /// Gives the tag to the user's installations. Returns how many of them carry it now; 0 for a user who has
    /// none.
    std::int64_t add(std::string_view user, std::string_view tag);

    /// Takes the tag from the user's installations. Returns how many of them carry it now, which is none.
    std::int64_t remove(std::string_view user, std::string_view tag);

    /// The tags of one installation, sorted.
    [[nodiscard]] Json tagsOf(std::string_view installation) const;

private:
    [[nodiscard]] std::int64_t count(std::string_view user, std::string_view tag) const;

    Database& database_;
};

}  // namespace xel::sandbox
