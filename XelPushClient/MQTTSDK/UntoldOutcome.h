#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/MQTTSDK/SentThing.h"

namespace xel {

/// Something that a session's delegate has not been told yet, because it happened where the delegate may not
/// be called, or before there was one.
struct UntoldOutcome {
    enum class Kind {
        PublicationFailed,
        SubscriptionFailed,
        UnsubscriptionFailed,
        RestoredTopicRefused,
        UnsubscriptionSettled,  ///< needs no answer of the broker's any more
    };

    Kind kind = Kind::PublicationFailed;
    std::string topic;
    std::string data;  ///< of a publication
    NSError error;
    std::uint16_t packetId = 0;  ///< of the UNSUBSCRIBE
};

/// That a thing was given up, because the broker ends connections on it. The data is a publication's.
[[nodiscard]] UntoldOutcome makeGivenUpOutcome(SentThing::Kind kind, std::string_view topic,
                                               std::string_view data = {});

}  // namespace xel
