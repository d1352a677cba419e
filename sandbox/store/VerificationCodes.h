#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "sandbox/relay/Json.h"
#include "sandbox/relay/WallClock.h"

namespace xel::sandbox {

class Database;

/// The verification codes that users were sent: six random digits, one current code for each user.
///
/// A code ends when it has been accepted, when the user asks for another, after `kLifetime`, or with the last
/// of `kTries` wrong ones.
///
/// Thread and errors: those of its database, which outlives it. Codes are secrets: no error holds one.
class VerificationCodes {
public:
    static constexpr std::int64_t kLifetime = 10 * 60 * 1000;  ///< milliseconds
    static constexpr std::int64_t kTries = 5;

    /// Now, in milliseconds since 1970.
    using Clock = std::function<std::int64_t()>;

    explicit VerificationCodes(Database& database, Clock clock = millisecondsSince1970);

    /// Makes the user's new code and returns it.
    std::string request(std::string_view user);

    /// Whether this is the user's current code, which it then was for the last time.
    bool verify(std::string_view user, std::string_view code);

    /// The last `limit` current codes: "user", "code", "expires" (milliseconds since 1970), "triesLeft".
    [[nodiscard]] Json list(std::int64_t limit);

private:
    void forgetExpired();
    void forget(std::string_view user);

    Database& database_;
    Clock clock_;
};

}  // namespace xel::sandbox
