#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_set>

namespace xel::sandbox {

struct ClientIdentity;

/// Tells the sender of a message that a device has got it, once for each message and device.
///
/// "Got it" means: the broker handed the message to a connection of the device. (The broker tells a plugin
/// neither when a client acknowledges nor when it reads.) The broker asks for the read permission again
/// whenever a message is queued again, after a reconnect or for an overlapping subscription, so what was
/// reported is remembered: the last `kRemembered` pairs, until the broker ends.
class DeliveryReports {
public:
    /// To be called when the broker hands `payload`, published on one of the message topics, to `receiver`.
    void reportHandedOver(const ClientIdentity& receiver, std::string_view payload);

private:
    bool isFirstReport(std::string key);

    static constexpr std::size_t kRemembered = 65536;

    std::unordered_set<std::string> reported_;
    std::deque<std::string> order_;
};

}  // namespace xel::sandbox
