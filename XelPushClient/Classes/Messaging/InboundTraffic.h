#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Broker/BrokerConnection.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Messaging/MessageDelivery.h"
#include "XelPushClient/Classes/Messaging/MessageIds.h"
#include "XelPushClient/Classes/Messaging/RemoteConfiguration.h"
#include "XelPushClient/Classes/Topics/SubscribedTopics.h"
#include "XelPushClient/Classes/Topics/SubscriptionAnswers.h"
#include "XelPushClient/Classes/Topics/SubscriptionRequests.h"
#include "XelPushClient/Classes/Topics/TopicReader.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/NSJSONSerialization.h"

namespace xel {

class Diagnostics;
enum class PublicationDropReason;

/// Everything that a session brings: each publication is told apart by its topic, decoded, dropped as a
/// duplicate or as expired, or handed on; ids are stored turn by turn; answers and what the session gives up
/// go to those who asked. Receiving never causes a publication.
///
/// The delegate of every session; what happens to the connection itself it leaves to `BrokerConnection`.
/// Owner: the manager. Thread: the manager's run loop. Each publication is handled to completion before the
/// call returns.
class InboundTraffic final : public MQTTSessionDelegate {
public:
    struct Surroundings {
        const ClientLife& life;
        ClientSettings& settings;
        NSJSONSerialization& json;
        const Clock& clock;
        const LogOutput& log;
        EventFanout& fanout;
        BrokerConnection& connection;
        SubscribedTopics& subscribedTopics;
        SubscriptionRequests& subscriptionRequests;
        SubscriptionAnswers& subscriptionAnswers;
        MessageIds& messageIds;
        /// Applies what a message carries, before the message is delivered.
        RemoteConfiguration& remoteConfiguration;
        MessageDelivery& delivery;
        /// Hears what was dropped, and why; may be null.
        const std::shared_ptr<Diagnostics>& diagnostics;
    };

    explicit InboundTraffic(Surroundings surroundings);
    InboundTraffic(const InboundTraffic&) = delete;
    InboundTraffic& operator=(const InboundTraffic&) = delete;
    ~InboundTraffic() override;

    void handleEvent(MQTTSession& session, MQTTSessionEvent event,
                     const std::optional<NSError>& error) override;

    void sessionWillDeliver(MQTTSession& session) override;
    /// A repeat is dropped by its id. What has no id, and delivery reports, are reported each time.
    void newMessage(MQTTSession& session, const MQTTPublication& publication) override;
    void sessionDidDeliver(MQTTSession& session, std::function<void()> acknowledge) override;

    void subAckReceived(MQTTSession& session, std::uint16_t msgID,
                        std::span<const std::uint8_t> grantedQoss) override;
    void unsubAckReceived(MQTTSession& session, std::uint16_t msgID) override;
    void topicWasRefused(MQTTSession& session, std::string_view topic) override;
    void publicationDidFail(MQTTSession& session, std::string_view data, std::string_view topic,
                            const NSError& error) override;
    void subscriptionDidFail(MQTTSession& session, std::string_view topic, const NSError& error) override;
    void unsubscriptionDidFail(MQTTSession& session, std::string_view topic, const NSError& error) override;

private:
    void handle(const MQTTPublication& publication);
    void handleDelivery(const MQTTPublication& publication);
    void handleEventMessage(const MQTTPublication& publication);
    void handlePushMessage(const MQTTPublication& publication, std::optional<std::string> channel);
    [[nodiscard]] std::optional<Dictionary> dictionaryFrom(std::string_view payload) const;
    void tellDropped(PublicationDropReason reason, std::string_view topic,
                     const std::optional<std::string>& id = std::nullopt,
                     std::optional<Date> expireTime = std::nullopt) const;

    Surroundings surroundings_;
    TopicReader topicReader_;
    ClientLife::WayInto<InboundTraffic> wayIn_;
};

}  // namespace xel
