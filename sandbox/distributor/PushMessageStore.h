#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace xel::sandbox {

class Database;

/// A push message that has not been handed over.
struct KeptPush {
    std::int64_t number{0};  ///< counts up over all messages
    std::string body;
    std::int64_t expires{0};  ///< milliseconds since 1970
    bool wasTried{false};
};

/// The push messages that have not been handed over: at most kMostForOne for each registration, of which the
/// oldest is given up for a new one.
///
/// Thread and errors: those of its database, which outlives it and has the registrations' table.
class PushMessageStore {
public:
    static constexpr std::size_t kMostForOne = 100;

    explicit PushMessageStore(Database& database);

    /// Keeps a message for the registration; answers whether an older one was given up for it.
    bool add(const std::string& token, const std::string& body, std::int64_t expires);
    /// The oldest one for the registration.
    [[nodiscard]] std::optional<KeptPush> first(const std::string& token) const;
    void markTried(std::int64_t number);
    void remove(std::int64_t number);

private:
    Database& database_;
};

}  // namespace xel::sandbox
