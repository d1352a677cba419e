#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Broker/BrokerConnection.h"
#include "XelPushClient/Classes/Broker/DeferredWork.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Platform/Clock.h"

namespace xel {

/// How an event is delivered.
struct PublishEventOptions {
    /// Live: at most once (QoS 0); otherwise at least once (QoS 1).
    bool live = false;
    /// The broker keeps it for those who subscribe later (the retain flag, MQTT 3.1.1 section 3.3.1.3).
    bool stateful = false;
};

/// Sends what the client itself puts on the broker: messages, events and receipts, as pretty-printed JSON.
///
/// Owner: the manager. Thread: the manager's run loop. What is invalid is reported to the delegates once, as
/// a failed publication ("InvalidParameter", -5002). Whether the session is connected makes no difference
/// here: it keeps what is to arrive at least once.
class Publisher {
public:
    struct Surroundings {
        BrokerConnection& connection;
        DeferredWork& deferred;
        ClientSettings& settings;
        EventFanout& fanout;
        const Clock& clock;
        const LogOutput& log;
    };

    explicit Publisher(Surroundings surroundings);

    /// True when the session took the publication.
    bool publish(const PushClientMessage& message);
    bool publish(const std::optional<std::string>& channel, const std::optional<std::string>& text);
    bool publish(const std::optional<std::string>& userId, const std::optional<std::string>& channel,
                 const std::optional<std::string>& text);
    bool markAsRead(const std::optional<std::string>& messageId);
    bool messageDismissed(const std::optional<std::string>& messageId);

    /// True once the arguments are valid. An event that could not be handed over is tried again, with the
    /// same "id" and "createdAt", each time the client connects.
    bool publishEvent(const std::string& eventName, const std::optional<Dictionary>& data,
                      PublishEventOptions options);

private:
    bool refuse(std::string_view text);
    /// Every publication passes here. False without a payload or a session, or when the session refuses it.
    bool handOver(const std::string& topic, const Dictionary& payload, PublishEventOptions options);
    bool publishReceipt(const std::string& topic);
    void retryWhenConnected(const std::string& eventName, Dictionary payload, PublishEventOptions options);
    [[nodiscard]] TopicIdentity identity() const;
    [[nodiscard]] double nowInMilliseconds() const;

    Surroundings surroundings_;
    /// Deferred work holds it weakly.
    std::shared_ptr<Publisher*> life_;
};

}  // namespace xel
