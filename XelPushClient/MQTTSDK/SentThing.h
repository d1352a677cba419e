#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// One thing that a session sends and that the broker answers. A subscription and an unsubscription are told
/// by their one topic filter, a publication by the packet identifier that it keeps until it is acknowledged.
struct SentThing {
    enum class Kind { Publication, Subscription, Unsubscription };

    Kind kind = Kind::Publication;
    std::uint16_t packetId = 0;
    std::string filter;

    static SentThing publication(std::uint16_t packetId) { return {Kind::Publication, packetId, {}}; }
    static SentThing subscription(std::string filter) { return {Kind::Subscription, 0, std::move(filter)}; }
    static SentThing unsubscription(std::string filter) {
        return {Kind::Unsubscription, 0, std::move(filter)};
    }

    friend bool operator==(const SentThing&, const SentThing&) = default;
    /// In no particular order.
    friend bool operator<(const SentThing& a, const SentThing& b) {
        return std::tie(a.kind, a.packetId, a.filter) < std::tie(b.kind, b.packetId, b.filter);
    }
};

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
