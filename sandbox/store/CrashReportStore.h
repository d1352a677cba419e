#pragma once

#include <cstdint>
#include <string>

#include "sandbox/relay/Json.h"

namespace xel::sandbox {

class Database;

/// The crash reports that clients sent: the last `kKept` of them.
///
/// Thread and errors: those of its database, which outlives it.
class CrashReportStore {
public:
    static constexpr std::int64_t kKept = 1000;

    explicit CrashReportStore(Database& database);

    /// Keeps the report and returns its new id.
    std::string add(const Json& report);

    /// The last `limit` reports that fit an answer, in the order in which they came: "id", "received"
    /// (milliseconds since 1970), "report".
    [[nodiscard]] Json list(std::int64_t limit) const;

private:
    Database& database_;
};

}  // namespace xel::sandbox
