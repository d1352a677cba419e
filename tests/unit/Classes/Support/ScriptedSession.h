#pragma once

#include <memory>
#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/MQTTSession.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/FirstAndLast.h"

namespace xel {

/// A broker session whose events the test raises and whose calls it reads. Packet identifiers count from 1.
class ScriptedSession final : public MQTTSession {
public:
    explicit ScriptedSession(MQTTSessionParameters sessionParameters)
        : parameters(std::move(sessionParameters)) {}

    // What the broker does.
    void connected() { raise(MQTTSessionStatus::Connected, MQTTSessionEvent::Connected, std::nullopt); }
    void fail(MQTTSessionEvent event, const NSError& error) { raise(MQTTSessionStatus::Error, event, error); }
    void subAck(std::uint16_t packetId, const std::vector<std::uint8_t>& granted) {
        delegate->subAckReceived(*this, packetId, granted);
    }
    void unsubAck(std::uint16_t packetId) { delegate->unsubAckReceived(*this, packetId); }
    void publish(std::string_view payload, std::string_view topic) {
        delegate->newMessage(*this, {payload, topic, 1, false, 1});
    }
    void publishAgain(std::string_view payload, std::string_view topic) {
        delegate->newMessage(*this, {payload, topic, 1, false, 1, true});
    }

    // What the session gives up.
    static NSError reason(MQTTErrorCode code) {
        return makeError(kMQTTErrorDomain, static_cast<std::int64_t>(code), "the reason");
    }

    // The port.
    void setDelegate(MQTTSessionDelegate* newDelegate) override { delegate = newDelegate; }
    [[nodiscard]] MQTTSessionStatus status() const override { return currentStatus; }
    void connectToHost(std::string_view host, std::uint16_t port, bool usingSSL) override {
        if (hasConnection()) {
            return;
        }
        calls.push_back("connect " + std::string(host) + ":" + std::to_string(port) +
                        (usingSSL ? " TLS" : " plain"));
        currentStatus = MQTTSessionStatus::Connecting;
    }
    void close(CloseEnded ended = nullptr) override {
        calls.emplace_back("close");
        if (throwsWhenClosed) {
            throw std::bad_alloc();
        }
        closeEnded = std::move(ended);
        if (hasConnection()) {
            raise(MQTTSessionStatus::Closed, MQTTSessionEvent::ConnectionClosed, std::nullopt);
        }
    }
    MQTTSubscribeOutcome subscribeToTopic(std::string_view topic, int qos) override {
        return subscribeToTopics({{std::string(topic), qos}});
    }
    MQTTSubscribeOutcome subscribeToTopics(const TopicTable& topics) override {
        std::string call = "subscribe";
        for (const auto& [topic, qos] : topics) {
            call += " " + topic + "@" + std::to_string(qos);
        }
        calls.push_back(call);
        MQTTSubscribeOutcome outcome;
        if (currentStatus != MQTTSessionStatus::Connected) {
            return outcome;
        }
        for (const auto& [topic, qos] : topics) {
            if (unsendable.contains(topic)) {
                outcome.refused.push_back({topic, reason(MQTTErrorCode::NameNotSendable)});
            } else if (!isOutOfIdentifiers) {
                addToBatch(outcome.batches, topic);
            }
        }
        outcome.superseded = std::exchange(supersededNext, {});
        return outcome;
    }
    MQTTUnsubscribeOutcome unsubscribeTopic(std::string_view topic) override {
        const std::string text(topic);
        return unsubscribeTopics({&text, 1});
    }
    MQTTUnsubscribeOutcome unsubscribeTopics(std::span<const std::string> topics) override {
        std::string call = "unsubscribe";
        MQTTUnsubscribeOutcome outcome;
        for (const auto& topic : topics) {
            call += " " + topic;
            if (unsendable.contains(topic)) {
                outcome.refused.push_back({topic, reason(MQTTErrorCode::NameNotSendable)});
            }
        }
        calls.push_back(call);
        const bool isSent = currentStatus == MQTTSessionStatus::Connected && !isOutOfIdentifiers;
        if (isSent && outcome.refused.size() < topics.size()) {
            outcome.packetId = ++lastPacketId;
        }
        return outcome;
    }
    [[nodiscard]] bool sendsAtMostOnce() const override {
        return MQTTSession::sendsAtMostOnce() && !isSendingOneAtATime;
    }
    Result<void> publishDataAtMostOnce(std::string_view data, std::string_view topic, bool retain) override {
        return takePublication({std::string(topic), std::string(data), 0, retain});
    }
    Result<void> publishDataAtLeastOnce(std::string_view data, std::string_view topic, bool retain) override {
        return takePublication({std::string(topic), std::string(data), 1, retain});
    }

    struct Publication {
        std::string topic;
        std::string payload;
        int qos = 1;
        bool retain = false;
    };
    [[nodiscard]] std::vector<Publication> takePublications() { return std::exchange(publications, {}); }
    [[nodiscard]] std::vector<std::string> takeCalls() { return std::exchange(calls, {}); }

    const MQTTSessionParameters parameters;
    MQTTSessionDelegate* delegate = nullptr;
    MQTTSessionStatus currentStatus = MQTTSessionStatus::Created;
    std::vector<std::string> calls;
    /// What the last `close` is to call when it has come to its end.
    CloseEnded closeEnded;
    std::uint16_t lastPacketId = 0;
    /// What was asked for, also while it is refused.
    std::vector<Publication> publications;
    bool isRefusingPublications = false;
    MQTTErrorCode publicationRefusal = MQTTErrorCode::OutboxFull;
    /// Topics that are refused for their names.
    std::set<std::string> unsendable;
    /// Nothing can be sent that needs an identifier.
    bool isOutOfIdentifiers = false;
    /// Nothing at QoS 0 leaves.
    bool isSendingOneAtATime = false;
    /// There is no memory for it.
    bool throwsWhenClosed = false;
    /// A SUBSCRIBE for each topic.
    bool isSubscribingOneByOne = false;
    /// What the next SUBSCRIBE takes the place of.
    std::vector<std::uint16_t> supersededNext;

private:
    [[nodiscard]] bool hasConnection() const {
        return currentStatus == MQTTSessionStatus::Connecting ||
               currentStatus == MQTTSessionStatus::Connected;
    }
    void addToBatch(std::vector<MQTTSubscribeBatch>& batches, const std::string& topic) {
        if (batches.empty() || isSubscribingOneByOne) {
            batches.push_back({++lastPacketId, {}});
        }
        batches.back().filters.push_back(topic);
    }
    Result<void> takePublication(Publication publication) {
        publications.push_back(std::move(publication));
        return isRefusingPublications ? Result<void>(reason(publicationRefusal)) : Result<void>();
    }
    void raise(MQTTSessionStatus status, MQTTSessionEvent event, const std::optional<NSError>& error) {
        currentStatus = status;
        if (delegate != nullptr) {
            delegate->handleEvent(*this, event, error);
        }
    }
};

/// Makes scripted sessions and keeps every one of them.
class ScriptedSessions final : public MQTTSessionFactory {
public:
    std::shared_ptr<MQTTSession> makeSession(MQTTSessionParameters parameters, NSRunLoop& /*runLoop*/,
                                             SessionMemory& /*memory*/) override {
        if (isOutOfOrder) {
            return nullptr;
        }
        if (!hasMemory) {
            throw std::bad_alloc();
        }
        made.push_back(std::make_shared<ScriptedSession>(std::move(parameters)));
        return made.back();
    }
    [[nodiscard]] ScriptedSession& latest() const { return *lastOf(made); }

    std::vector<std::shared_ptr<ScriptedSession>> made;
    bool isOutOfOrder = false;
    bool hasMemory = true;
};

}  // namespace xel
