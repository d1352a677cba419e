#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"
#include "XelPushClient/Classes/Topics/SubscribedTopics.h"
#include "XelPushClient/Classes/Topics/SubscriptionRequests.h"

namespace xel {

/// What the broker's answers, and topics that the session gives up, change; and who hears of them.
///
/// Owner: the manager. Thread: the manager's run loop. Asks for nothing itself.
class SubscriptionAnswers {
public:
    struct Surroundings {
        const BrokerSession& session;
        ChannelStore& channels;
        SubscribedTopics& subscribedTopics;
        SubscriptionRequests& requests;
        ClientSettings& settings;
        EventFanout& fanout;
    };

    explicit SubscriptionAnswers(Surroundings surroundings) : surroundings_(surroundings) {}

    void subAckReceived(std::uint16_t packetId, std::span<const std::uint8_t> grantedQoss);
    void unsubAckReceived(std::uint16_t packetId);
    /// The session has given topics up. They are not asked for again until the host does, and a topic that
    /// the client itself asks for at each connect not before there is another session.
    void giveUp(std::span<const MQTTRefusedTopic> refused);
    void unsubscriptionFailed(std::string_view topic, const NSError& error);

private:
    /// True when the answer was to the SUBSCRIBE of an event.
    bool eventWasAnswered(std::uint16_t packetId);
    void reportGrantedTopic(std::string_view topic);

    Surroundings surroundings_;
};

}  // namespace xel
