#include "XelPushClient/MQTTSDK/MQTTClientSession.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/SendableNames.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/SessionMemory.h"

namespace xel {

MQTTClientSession::MQTTClientSession(MQTTSessionParameters parameters, const MQTTSessionOptions& options,
                                     MQTTSessionSurroundings surroundings)
    : parameters_(std::make_shared<const MQTTSessionParameters>(std::move(parameters))),
      options_(options),
      runLoop_(surroundings.runLoop),
      streams_(std::move(surroundings.streams)),
      clock_(std::move(surroundings.clock)),
      packetIds_(std::make_shared<PacketIds>()),
      outbox_(surroundings.memory, parameters_->clientId, packetIds_, options),
      granted_(surroundings.memory, parameters_->clientId),
      closingRoute_(surroundings.runLoop, surroundings.mainRunLoop),
      anchor_(std::make_shared<SessionAnchor>()) {
    anchor_->session = this;
}

MQTTClientSession::~MQTTClientSession() {
    isBeingDestroyed_ = true;
    try {
        close();
    } catch (...) {
        // No exception leaves a destructor; it leaves the loop instead, where those of all callbacks do.
        runLoop_.post([error = std::current_exception()] { std::rethrow_exception(error); });
    }
    anchor_->session = nullptr;
    anchor_->isListening = false;
}

void MQTTClientSession::setDelegate(MQTTSessionDelegate* delegate) {
    delegate_ = delegate;
    anchor_->isListening = delegate != nullptr;
    if (delegate != nullptr && connection_) {
        connection_->resumeLater();
    }
}

void MQTTClientSession::connectToHost(std::string_view host, std::uint16_t port, bool usingSSL) {
    if (connection_ || isBeingDestroyed_) {
        return;
    }
    status_ = MQTTSessionStatus::Connecting;
    connection_ = std::make_shared<MQTTConnection>(
        MQTTConnectionContext{anchor_, parameters_, options_, packetIds_, clock_, runLoop_});
    if (isSendableConnect(*parameters_)) {
        connection_->open(*streams_, host, port, usingSSL);
    } else {
        connection_->refuseLater(makeIdentityError(*parameters_));
    }
}

void MQTTClientSession::close() {
    if (!connection_) {
        return;
    }
    status_ = MQTTSessionStatus::Disconnecting;
    std::exchange(connection_, nullptr)->closeInOrder();
    outbox_.commitSettled();
    status_ = MQTTSessionStatus::Closed;
    report(MQTTSessionEvent::ConnectionClosed);
}

MQTTSubscribeOutcome MQTTClientSession::subscribeToTopic(std::string_view topic, int qos) {
    TopicTable topics;
    topics.set(topic, qos);
    return subscribeToTopics(topics);
}

MQTTSubscribeOutcome MQTTClientSession::subscribeToTopics(const TopicTable& topics) {
    MQTTSubscribeOutcome outcome;
    if (!isConnected()) {
        return outcome;
    }
    const std::uint16_t packetId =
        connection_->engine().subscribe(topics, SubscribePurpose::Owner, outcome.refused);
    if (packetId != 0) {
        MQTTSubscribeBatch& batch = outcome.batches.emplace_back();
        batch.packetId = packetId;
        for (const auto& [topic, qos] : topics) {
            if (isSendableTopicFilter(topic)) {
                batch.filters.push_back(topic);
            }
        }
    }
    connection_->flushSoon();
    return outcome;
}

MQTTUnsubscribeOutcome MQTTClientSession::unsubscribeTopic(std::string_view topic) {
    return unsubscribe({&topic, 1});
}

MQTTUnsubscribeOutcome MQTTClientSession::unsubscribeTopics(std::span<const std::string> topics) {
    const std::vector<std::string_view> views(topics.begin(), topics.end());
    return unsubscribe(views);
}

MQTTUnsubscribeOutcome MQTTClientSession::unsubscribe(std::span<const std::string_view> topics) {
    MQTTUnsubscribeOutcome outcome;
    for (const std::string_view topic : topics) {
        granted_.forget(topic);
    }
    granted_.store();
    if (isConnected()) {
        outcome.packetId = connection_->engine().unsubscribe(topics, outcome.refused);
        connection_->flushSoon();
    }
    return outcome;
}

Result<void> MQTTClientSession::publishDataAtMostOnce(std::string_view data, std::string_view topic,
                                                      bool retain) {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    const std::size_t size = publishPacketSize(topic, data, 0);
    if (const std::size_t limit = std::min(options_.maxPacketSize, kMQTTMaxRemainingLength); size > limit) {
        return makeTooLargeError(topic, size, limit);
    }
    if (isConnected()) {
        connection_->engine().publishAtMostOnce(topic, data, retain);
        connection_->flushSoon();
    }
    return {};
}

Result<void> MQTTClientSession::publishDataAtLeastOnce(std::string_view data, std::string_view topic,
                                                       bool retain) {
    if (!isSendableTopicName(topic)) {
        return makeNotSendableError(topic);
    }
    const auto added = outbox_.add(topic, data, retain);
    if (!added) {
        return added.error();
    }
    if (isConnected()) {
        Outbox::write(*added.value(), connection_->engine().output());
        connection_->flushSoon();
    }
    return {};
}

void MQTTClientSession::connectionDidOpen(bool sessionPresent) {
    status_ = MQTTSessionStatus::Connected;
    restoreTopics(sessionPresent);
    writeOutboxAgain();
    report(MQTTSessionEvent::Connected);
}

void MQTTClientSession::connectionDidEnd(MQTTSessionEvent event, const NSError& error) {
    connection_.reset();
    outbox_.commitSettled();
    status_ = MQTTSessionStatus::Error;
    report(event, error);
}

void MQTTClientSession::connectionWillDeliver() {
    delegate_->sessionWillDeliver(*this);
}

void MQTTClientSession::connectionDidReceive(const MQTTInboundPacket& publication) {
    delegate_->newMessage(*this, {publication.payload, publication.topic, publication.qos,
                                  publication.retained, publication.packetId});
}

void MQTTClientSession::connectionDidReceiveAnswer(MQTTEngineEvent answer, const MQTTInboundPacket& packet) {
    if (answer == MQTTEngineEvent::PublicationAcknowledged) {
        // One that was not waited for is ignored.
        static_cast<void>(outbox_.settle(packet.packetId));
    } else if (answer == MQTTEngineEvent::Subscribed) {
        takeSubscribeAnswer(packet.packetId);
    } else if (delegate_ != nullptr) {
        delegate_->unsubAckReceived(*this, packet.packetId);
    }
}

void MQTTClientSession::connectionDidFinishStep() {
    outbox_.commitSettled();
}

void MQTTClientSession::connectionDidEndTurn(std::weak_ptr<MQTTConnection> connection, std::uint64_t turn) {
    closingRoute_.post([anchor = anchor_, connection = std::move(connection), turn] {
        if (auto* const session = sessionAt(*anchor)) {
            session->closeTurn(connection, turn);
        }
    });
}

// Nothing of this object is touched once the delegate was called: it may be gone.
void MQTTClientSession::closeTurn(const std::weak_ptr<MQTTConnection>& connection, std::uint64_t turn) {
    const auto lasting = connection.lock();
    if (delegate_ == nullptr) {
        if (lasting) {
            lasting->didSkipClosing(turn);
        }
        return;
    }
    if (lasting) {
        lasting->willCloseTurn(turn);
    }
    try {
        delegate_->sessionDidDeliver(*this, [connection, turn] {
            if (const auto waiting = connection.lock()) {
                waiting->acknowledgeTurn(turn);
            }
        });
    } catch (...) {
        if (lasting) {
            lasting->didCloseTurn(false);
        }
        throw;
    }
    if (lasting) {
        lasting->didCloseTurn(true);
    }
}

void MQTTClientSession::restoreTopics(bool sessionPresent) {
    if (granted_.topics().empty() || (sessionPresent && !granted_.isRestorationAwaited())) {
        return;
    }
    // A clean session never comes back, so there is no later connection to warn.
    if (!parameters_->cleanSession) {
        granted_.setRestorationAwaited(true);
        granted_.store();
    }
    std::vector<MQTTRefusedTopic> refused;
    connection_->engine().subscribe(granted_.topics(), SubscribePurpose::Restoration, refused);
}

void MQTTClientSession::writeOutboxAgain() {
    for (Outbox::Publication& publication : outbox_.publications()) {
        Outbox::write(publication, connection_->engine().output());
        connection_->flushSoon();
    }
}

void MQTTClientSession::takeSubscribeAnswer(std::uint16_t packetId) {
    const SubscribeRequest& request = connection_->engine().answeredSubscribe();
    const std::span<const std::uint8_t> codes = connection_->engine().answeredCodes();
    const bool isRestoration = request.purpose == SubscribePurpose::Restoration;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const SubscribeRequest::Topic& topic = request.topics[i];
        if (topic.wasUnsubscribed) {
            continue;
        }
        if (codes[i] != kMQTTSubscribeFailure) {
            granted_.grant(topic.filter, std::min<int>(codes[i], kMQTTHighestQoS));
        } else if (granted_.topics().contains(topic.filter)) {
            granted_.forget(topic.filter);
            if (isRestoration) {
                refusedTopics_.push_back(topic.filter);
            }
        }
    }
    if (isRestoration) {
        granted_.setRestorationAwaited(false);
    }
    granted_.store();
    if (isRestoration) {
        tellRefusedTopics();
    } else if (delegate_ != nullptr) {
        delegate_->subAckReceived(*this, packetId, codes);
    }
}

void MQTTClientSession::tellRefusedTopics() {
    const auto anchor = anchor_;
    try {
        while (anchor->session != nullptr && delegate_ != nullptr && !refusedTopics_.empty()) {
            const std::string topic = std::move(refusedTopics_.front());
            refusedTopics_.erase(refusedTopics_.begin());
            delegate_->topicWasRefused(*this, topic);
        }
    } catch (...) {
        if (anchor->session != nullptr) {
            runLoop_.post([anchor] {
                if (auto* const session = sessionAt(*anchor)) {
                    session->tellRefusedTopics();
                }
            });
        }
        throw;
    }
}

void MQTTClientSession::report(MQTTSessionEvent event, const std::optional<NSError>& error) {
    if (delegate_ != nullptr) {
        delegate_->handleEvent(*this, event, error);
    }
}

MQTTClientSession* MQTTClientSession::sessionAt(const SessionAnchor& anchor) {
    return static_cast<MQTTClientSession*>(anchor.session);
}

}  // namespace xel
