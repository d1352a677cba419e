#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "XelPushClient/MQTTSDK/PendingRequests.h"
#include "XelPushClient/MQTTSDK/SentThing.h"
#include "XelPushClient/MQTTSDK/Suspects.h"

namespace xel {

/// What a pending request asks for, when that is one thing.
[[nodiscard]] std::optional<SentThing> thingOf(PendingRequests& requests, std::uint16_t packetId);

/// One connection's SUBSCRIBEs and UNSUBSCRIBEs that have their packet identifier and are not written yet:
/// held until their turn comes, or parked until the thing that they ask for, which is set aside, is to be
/// tried.
///
/// Knows them by identifier; the requests themselves are the engine's. Owner: the connection's send queue.
class WaitingRequests {
public:
    void hold(std::uint16_t packetId) { held_.push_back(packetId); }
    [[nodiscard]] std::optional<std::uint16_t> takeHeld();
    /// What held batches ask for, one topic each, is asked for once: takes those out that ask for one of the
    /// topics at the same level.
    [[nodiscard]] std::vector<std::uint16_t> supersedeHeld(PendingRequests& requests,
                                                           std::span<const SubscribeRequest::Topic> later);

    void park(std::uint16_t packetId) { parked_.push_back(packetId); }
    [[nodiscard]] bool isParked(PendingRequests& requests, const SentThing& thing) const;
    /// The first one parked for the thing; there is one.
    [[nodiscard]] std::uint16_t takeParked(PendingRequests& requests, const SentThing& thing);
    /// For a topic of which the contrary is asked for now: it is not tried any more, because it would come
    /// behind that.
    void dropParked(PendingRequests& requests, SentThing::Kind kind, std::string_view topic);
    /// What is not set aside any more takes its turn.
    void holdWhatIsAcquitted(PendingRequests& requests, const Suspects& suspects);

private:
    std::deque<std::uint16_t> held_;
    std::vector<std::uint16_t> parked_;
};

}  // namespace xel
