#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Broker/DeferredWork.h"
#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Messaging/WaitingEvents.h"
#include "XelPushClient/Classes/Models/OperationOptions.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/Platform/Clock.h"

namespace xel {

class Diagnostics;

/// Sends what the client itself puts on the broker: messages, events and receipts, as pretty-printed JSON.
///
/// Owner: the manager. Thread: the manager's run loop. What is invalid, or has a topic that no broker may be
/// sent, is reported to the delegates once, as a failed publication ("InvalidParameter", -5002). Whether the
/// session is connected makes no difference here: it keeps what is to arrive at least once.
class Publisher {
public:
    struct Surroundings {
        const ClientLife& life;
        const BrokerSession& session;
        DeferredWork& deferred;
        ClientSettings& settings;
        EventFanout& fanout;
        const Clock& clock;
        const LogOutput& log;
        /// Hears what was dropped, and why; may be null.
        const std::shared_ptr<Diagnostics>& diagnostics;
    };

    /// The limits hold for what waits without a session.
    explicit Publisher(Surroundings surroundings, const MQTTSessionOptions& limits = {});

    /// True when the session took the publication.
    bool publish(const PushClientMessage& message);
    bool publish(const std::optional<std::string>& channel, const std::optional<std::string>& text);
    bool publish(const std::optional<std::string>& userId, const std::optional<std::string>& channel,
                 const std::optional<std::string>& text);
    bool markAsRead(const std::optional<std::string>& messageId);
    bool messageDismissed(const std::optional<std::string>& messageId);

    /// True once the arguments are valid and the event can be sent. One that could not be handed over is
    /// tried again, with the same "id" and "createdAt", each time the client connects. False, and reported,
    /// for one that is too large, and for one more than can wait.
    bool publishEvent(const std::string& eventName, const std::optional<Dictionary>& data,
                      PublishEventOptions options);

private:
    /// A payload as it goes out; nothing for one that JSON cannot carry.
    using Octets = std::optional<std::string>;

    bool refuse(std::string_view text);
    bool fail(const std::string& topic, const Dictionary& payload, const NSError& reason);
    /// Every publication passes here. An error without a payload or a session, or when the session refuses
    /// it.
    Result<void> handOver(const std::string& topic, const Octets& octets, PublishEventOptions options);
    /// For what is not tried again. False after reporting a topic that no broker may be sent.
    bool publishOnce(const std::string& topic, const Dictionary& payload, PublishEventOptions options);
    /// Publishes an event that may have a place among the waiting ones already.
    bool publishEvent(const std::string& eventName, const std::optional<Dictionary>& data,
                      PublishEventOptions options, WaitingEvents::Place place);
    void retryWhenConnected(const std::string& eventName, Dictionary payload, PublishEventOptions options,
                            WaitingEvents::Place place);
    [[nodiscard]] TopicIdentity identity() const;
    [[nodiscard]] double nowInMilliseconds() const;
    bool publishReceipt(const std::string& topic);

    /// What a session would say, for the time when there is none yet.
    [[nodiscard]] Result<void> checkSendable(const std::string& topic, const std::string& octets,
                                             PublishEventOptions options) const;

    Surroundings surroundings_;
    MQTTSessionOptions limits_;
    WaitingEvents waiting_;
    ClientLife::WayInto<Publisher> wayIn_;
};

}  // namespace xel
