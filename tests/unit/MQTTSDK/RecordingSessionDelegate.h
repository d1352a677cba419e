#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

inline std::string nameOfEvent(MQTTSessionEvent event) {
    switch (event) {
        case MQTTSessionEvent::Connected: return "Connected";
        case MQTTSessionEvent::ConnectionRefused: return "ConnectionRefused";
        case MQTTSessionEvent::ConnectionClosed: return "ConnectionClosed";
        case MQTTSessionEvent::ConnectionError: return "ConnectionError";
        case MQTTSessionEvent::ProtocolError: return "ProtocolError";
        case MQTTSessionEvent::ConnectionClosedByBroker: return "ConnectionClosedByBroker";
    }
    return "?";
}

/// Writes down what a session tells, a line for each call, and then does what the test hooked in.
class RecordingSessionDelegate final : public MQTTSessionDelegate {
public:
    std::vector<std::string> lines;
    std::vector<NSError> errors;
    std::vector<std::function<void()>> acknowledges;  ///< those not called at once
    bool acknowledgesAtOnce = true;

    std::function<void(MQTTSession&, MQTTSessionEvent)> onEvent;
    std::function<void(MQTTSession&)> onWillDeliver;
    std::function<void(MQTTSession&, std::string_view data)> onMessage;
    std::function<void(MQTTSession&)> onDidDeliver;
    std::function<void(MQTTSession&)> onSubAck;
    std::function<void(MQTTSession&, std::string_view topic)> onTopicRefused;

    [[nodiscard]] std::vector<std::string> takeLines() { return std::exchange(lines, {}); }

    void handleEvent(MQTTSession& session, MQTTSessionEvent event,
                     const std::optional<NSError>& error) override {
        lines.push_back(nameOfEvent(event));
        if (error) {
            errors.push_back(*error);
        }
        if (const auto hook = onEvent) {
            hook(session, event);
        }
    }

    void sessionWillDeliver(MQTTSession& session) override {
        lines.emplace_back("will");
        if (const auto hook = onWillDeliver) {
            hook(session);
        }
    }

    void newMessage(MQTTSession& session, const MQTTPublication& publication) override {
        lines.push_back(std::string(publication.topic) + " " + std::string(publication.data) + " q" +
                        std::to_string(publication.qos) + (publication.retained ? "r" : "") + " #" +
                        std::to_string(publication.mid) + (publication.isRepeat ? " again" : ""));
        if (const auto hook = onMessage) {
            hook(session, publication.data);
            lastDataAfterHook =
                publication.data;  // the views last until the call is over, whatever the hook did
        }
    }

    void sessionDidDeliver(MQTTSession& session, std::function<void()> acknowledge) override {
        lines.emplace_back("did");
        if (acknowledgesAtOnce) {
            acknowledge();
        } else {
            acknowledges.push_back(std::move(acknowledge));
        }
        if (const auto hook = onDidDeliver) {
            hook(session);
        }
    }

    void subAckReceived(MQTTSession& session, std::uint16_t msgID,
                        std::span<const std::uint8_t> grantedQoss) override {
        std::string line = "suback #" + std::to_string(msgID);
        for (const auto code : grantedQoss) {
            line += " " + std::to_string(code);
        }
        lines.push_back(line);
        if (const auto hook = onSubAck) {
            hook(session);
        }
    }

    void unsubAckReceived(MQTTSession&, std::uint16_t msgID) override {
        lines.push_back("unsuback #" + std::to_string(msgID));
    }

    void topicWasRefused(MQTTSession& session, std::string_view topic) override {
        lines.push_back("refused " + std::string(topic));
        if (const auto hook = onTopicRefused) {
            hook(session, topic);
        }
    }

    void publicationDidFail(MQTTSession&, std::string_view data, std::string_view topic,
                            const NSError& error) override {
        lines.push_back("publication failed " + std::string(topic) + " " + std::string(data));
        errors.push_back(error);
    }
    void subscriptionDidFail(MQTTSession&, std::string_view topic, const NSError& error) override {
        lines.push_back("subscription failed " + std::string(topic));
        errors.push_back(error);
    }
    void unsubscriptionDidFail(MQTTSession&, std::string_view topic, const NSError& error) override {
        lines.push_back("unsubscription failed " + std::string(topic));
        errors.push_back(error);
    }

    std::string lastDataAfterHook;
};

}  // namespace xel
