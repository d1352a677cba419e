#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "sandbox/push/PushToken.h"
#include "sandbox/relay/Json.h"

namespace xel::sandbox {

class InstallationStore;
class ProgressLog;
struct PushToken;

/// How an endpoint answered.
struct PushAnswer {
    unsigned status{0};   ///< of HTTP; 0: there was no answer
    std::string failure;  ///< why there was none
};

/// An encrypted message on its way to an endpoint.
struct OutgoingPush {
    PushEndpoint endpoint;
    std::string body;
    std::chrono::seconds timeToLive{0};
};

/// Sends a push message, by the push token of its installation, for each message that waits for a device
/// without a connection.
///
/// A push message is a wake-up: the message itself waits at the broker, so none is sent twice, none is sent
/// for a live message or one that has expired, and one that fails is not tried again. One is under way at a
/// time; beyond kMostWaiting the next ones are dropped. An endpoint that answers 404 or 410 loses its token.
///
/// Thread: one, where `Post` answers too.
class PushDesk {
public:
    using Post = std::function<void(const OutgoingPush&, std::function<void(const PushAnswer&)>)>;
    /// Milliseconds since 1970.
    using Clock = std::function<std::int64_t()>;

    static constexpr std::size_t kMostWaiting = 256;
    /// How long an endpoint is asked to keep a push message of a message that does not expire.
    static constexpr std::chrono::seconds kLongestLife{86400};

    PushDesk(InstallationStore& installations, ProgressLog& log, Post post, Clock clock);

    /// A message, as composeMessage made it, waits for the device of the user.
    void messageWaits(const std::string& user, const std::string& device, std::string_view message);

private:
    struct Order {
        std::string device;
        std::string token;  ///< as the installation has it
        std::string messageId;
        OutgoingPush push;
    };

    void order(const std::string& device, const std::string& hexadecimal, const PushToken& token,
               const Json& message);
    /// False when it was remembered before. Every message that was composed has an id.
    [[nodiscard]] bool remember(const std::string& device, const std::string& messageId);
    [[nodiscard]] std::chrono::seconds lifeOf(const Json& message) const;
    void goOn();
    void answered(const Order& order, const PushAnswer& answer);

    InstallationStore& installations_;
    ProgressLog& log_;
    Post post_;
    Clock clock_;
    std::deque<Order> waiting_;
    bool isBusy_{false};
    // The broker queues a message twice for a device whose subscriptions overlap.
    std::unordered_set<std::string> ordered_;
    std::deque<std::string> orderedInTurn_;
};

}  // namespace xel::sandbox
