#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "sandbox/relay/Json.h"

struct sqlite3;
struct sqlite3_stmt;

namespace xel::sandbox {

/// The installation records, kept in an SQLite file (0600). A record is what the client sent, with "id",
/// "created" and "modified" (milliseconds since 1970) set by the store.
///
/// Used on one thread at a time. Every operation throws SandboxError when the database fails.
class InstallationStore {
public:
    explicit InstallationStore(const std::filesystem::path& file);

    /// Keeps a new record under a new id and returns it as kept.
    Json add(const Json& record);

    /// Replaces the record and returns it as kept; nothing when the id is unknown.
    std::optional<Json> replace(const std::string& id, const Json& record);

    [[nodiscard]] std::optional<Json> find(const std::string& id) const;

    /// Whether there was such a record.
    bool remove(const std::string& id);

private:
    class Statement;

    std::unique_ptr<sqlite3, int (*)(sqlite3*)> database_;
};

}  // namespace xel::sandbox
