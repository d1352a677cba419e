#pragma once

#include <cstddef>
#include <memory>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"

namespace xel {

/// Counts the events that wait in memory because no session took them: as many as an outbox holds.
///
/// Owner: `Publisher`. Thread: the manager's run loop. Does not hold the events themselves.
class WaitingEvents {
public:
    /// An event's place, which is free again when the last copy goes, also after the `WaitingEvents`.
    using Place = std::shared_ptr<const void>;

    explicit WaitingEvents(const MQTTSessionOptions& limits) : limits_(limits) {}

    /// A place for a payload of that many octets; an error (`OutboxFull`) when there is none.
    [[nodiscard]] Result<Place> takePlace(std::size_t payloadOctets);

private:
    struct Taken {
        std::size_t events = 0;
        std::size_t octets = 0;
    };

    MQTTSessionOptions limits_;
    std::shared_ptr<Taken> taken_ = std::make_shared<Taken>();
};

}  // namespace xel
