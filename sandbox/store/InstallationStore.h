#pragma once

#include <optional>
#include <string>

#include "sandbox/relay/Json.h"

namespace xel::sandbox {

class Database;

/// The installation records. A record is what the client sent, with "id", "created" and "modified"
/// (milliseconds since 1970) set by the store.
///
/// Thread and errors: those of its database, which outlives it.
class InstallationStore {
public:
    explicit InstallationStore(Database& database);

    /// Keeps a new record under a new id and returns it as kept.
    Json add(const Json& record);

    /// Replaces the record and returns it as kept; nothing when the id is unknown.
    std::optional<Json> replace(const std::string& id, const Json& record);

    [[nodiscard]] std::optional<Json> find(const std::string& id) const;

    /// Takes the push token out of the record, unless it has another one by now.
    void forgetPushToken(const std::string& id, const std::string& token);

    /// Whether there was such a record.
    bool remove(const std::string& id);

    /// The last `limit` records, in the order in which they were made.
    [[nodiscard]] Json list(std::int64_t limit) const;

private:
    Database& database_;
};

}  // namespace xel::sandbox
