#include "XelPushClient/MQTTSDK/MQTTClientSession.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>

#include "XelPushClient/Foundation/OnLeaving.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"
#include "XelPushClient/MQTTSDK/MQTTTopics.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {
namespace {

// The broker may end a connection with octets of ours unread; then the end comes as a reset.
bool isEndByBroker(MQTTSessionEvent event, const NSError& error) {
    return event == MQTTSessionEvent::ConnectionClosedByBroker ||
           (error.domain == kByteStreamErrorDomain &&
            error.code == static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionReset));
}

// That a connection has ended must be told, if need be without saying why.
std::optional<NSError> copyIfPossible(const NSError& error) {
    try {
        return error;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

}  // namespace

MQTTClientSession::MQTTClientSession(MQTTSessionParameters parameters, const MQTTSessionOptions& options,
                                     MQTTSessionSurroundings surroundings)
    : parameters_(std::make_shared<const MQTTSessionParameters>(std::move(parameters))),
      options_(options),
      runLoop_(surroundings.runLoop),
      streams_(std::move(surroundings.streams)),
      clock_(std::move(surroundings.clock)),
      packetIds_(std::make_shared<PacketIds>()),
      acknowledgements_(std::make_shared<LostAcknowledgements>()),
      traffic_(surroundings.memory, *parameters_, packetIds_, options),
      closingRoute_(surroundings.runLoop, surroundings.mainRunLoop),
      anchor_(std::make_shared<SessionAnchor>()) {
    anchor_->session = this;
}

MQTTClientSession::~MQTTClientSession() {
    isBeingDestroyed_ = true;
    try {
        close();
    } catch (...) {
        throwInTheLoop(runLoop_, std::current_exception());
    }
    anchor_->session = nullptr;
    anchor_->isListening = false;
}

void MQTTClientSession::setDelegate(MQTTSessionDelegate* delegate) {
    delegate_ = delegate;
    anchor_->isListening = delegate != nullptr;
    if (delegate == nullptr) {
        traffic_.ownerDidLetGo();
        return;
    }
    tellUntoldLater();
    if (connection_) {
        connection_->resumeLater();
    }
}

void MQTTClientSession::connectToHost(std::string_view host, std::uint16_t port, bool usingSSL) {
    // Whoever hears of a dropped session's closing may ask it for a connection that nobody would own.
    if (connection_ || isBeingDestroyed_) {
        return;
    }
    const auto connection = std::make_shared<MQTTConnection>(MQTTConnectionContext{
        anchor_, parameters_, options_, packetIds_, acknowledgements_, clock_, runLoop_});
    if (isSendableConnect(*parameters_)) {
        connection->open(*streams_, host, port, usingSSL);
    } else {
        connection->refuseLater(makeIdentityError(*parameters_));
    }
    // Not before it is under way: what threw on the way here would stand for an attempt.
    status_ = MQTTSessionStatus::Connecting;
    connection_ = connection;
}

void MQTTClientSession::close(CloseEnded ended) {
    if (!connection_) {
        if (ended) {
            runLoop_.post([ended = std::move(ended)] { ended(true); });
        }
        return;
    }
    status_ = MQTTSessionStatus::Disconnecting;
    untoldAnswers_.clear();
    // The owner may connect anew inside the report, so nothing of the old connection is left by then.
    const auto closing = std::exchange(connection_, nullptr);
    doThenAlways([&] { closing->closeInOrder(std::move(ended)); },
                 [&] {
                     doThenAlways([&] { traffic_.connectionDidEnd(false, clock_->steadyNow()); },
                                  [&] {
                                      status_ = MQTTSessionStatus::Closed;
                                      report(MQTTSessionEvent::ConnectionClosed);
                                  });
                 });
}

MQTTSubscribeOutcome MQTTClientSession::subscribeToTopic(std::string_view topic, int qos) {
    TopicTable topics;
    topics.set(topic, qos);
    return subscribe(topics, SubscribePurpose::Single);
}

MQTTSubscribeOutcome MQTTClientSession::subscribeToTopics(const TopicTable& topics) {
    return subscribe(topics, SubscribePurpose::Batch);
}

MQTTSubscribeOutcome MQTTClientSession::subscribe(const TopicTable& topics, SubscribePurpose purpose) {
    auto outcome = traffic_.subscribe(topics, purpose);
    armRetryTimer();  // one that was set aside waits for its time
    return outcome;
}

MQTTUnsubscribeOutcome MQTTClientSession::unsubscribeTopic(std::string_view topic) {
    return traffic_.unsubscribe({&topic, 1});
}

MQTTUnsubscribeOutcome MQTTClientSession::unsubscribeTopics(std::span<const std::string> topics) {
    return traffic_.unsubscribe(std::vector<std::string_view>(topics.begin(), topics.end()));
}

Result<void> MQTTClientSession::publishDataAtMostOnce(std::string_view data, std::string_view topic,
                                                      bool retain) {
    return traffic_.publishAtMostOnce(data, topic, retain);
}

Result<void> MQTTClientSession::publishDataAtLeastOnce(std::string_view data, std::string_view topic,
                                                       bool retain) {
    return traffic_.publishAtLeastOnce(data, topic, retain);
}

void MQTTClientSession::connectionWillIntroduceItself() {
    traffic_.connectionWillIntroduceItself();
}

void MQTTClientSession::connectionDidOpen(bool sessionPresent) {
    status_ = MQTTSessionStatus::Connected;
    // Before the report, so that what was lost or left over leaves ahead of what the owner sends on it.
    traffic_.connectionDidOpen(connection_, sessionPresent);
    armRetryTimer();
    tellUntoldLater();
    report(MQTTSessionEvent::Connected);
}

void MQTTClientSession::connectionDidEnd(MQTTSessionEvent event, const NSError& error) {
    // A broker that ends the connection before CONNACK has not seen anything that it could be refusing.
    const bool wasConnected = status_ == MQTTSessionStatus::Connected;
    connection_.reset();
    untoldAnswers_.clear();
    status_ = MQTTSessionStatus::Error;
    doThenAlways(
        [&] {
            if (event == MQTTSessionEvent::ConnectionRefused) {
                traffic_.connectionWasRefused();
            }
            traffic_.connectionDidEnd(wasConnected && isEndByBroker(event, error), clock_->steadyNow());
            tellUntoldLater();
        },
        [&] { report(event, copyIfPossible(error)); });
}

void MQTTClientSession::connectionWillDeliver() {
    delegate_->sessionWillDeliver(*this);
}

void MQTTClientSession::connectionDidReceive(const MQTTInboundPacket& publication, bool isRepeat) {
    delegate_->newMessage(*this, {publication.payload, publication.topic, publication.qos,
                                  publication.retained, publication.packetId, isRepeat});
}

void MQTTClientSession::connectionDidReceiveAnswer(MQTTEngineEvent answer, const MQTTInboundPacket& packet) {
    if (answer == MQTTEngineEvent::PublicationAcknowledged) {
        traffic_.publicationWasAcknowledged(packet.packetId);
    } else if (answer == MQTTEngineEvent::Subscribed) {
        takeSubscribeAnswer(packet.packetId);
    } else {
        const bool isAwaited = connection_->engine().answeredUnsubscribe().isAwaitedByOwner;
        traffic_.unsubscribeWasAnswered();
        if (isAwaited && delegate_ != nullptr) {
            delegate_->unsubAckReceived(*this, packet.packetId);
        }
    }
}

// The codes are copied: what the owner does about them may end the connection that holds them.
void MQTTClientSession::takeSubscribeAnswer(std::uint16_t packetId) {
    const MQTTEngine& engine = connection_->engine();
    untoldAnswers_.push_back({packetId,
                              engine.answeredSubscribe().purpose == SubscribePurpose::Restoration,
                              {engine.answeredCodes().begin(), engine.answeredCodes().end()}});
    traffic_.subscribeWasAnswered();
    // The memory is written whole, and before the owner hears: once for
    // all that one read brings of the answers to a thousand requests.
    if (!connection_->isSubscribeAnswerNext()) {
        traffic_.storeGranted();
        tellSubscribeAnswers();
    }
}

void MQTTClientSession::tellSubscribeAnswers() {
    // Each telling may destroy this session, or end the connection, which takes the rest along.
    const auto anchor = anchor_;
    try {
        while (anchor->session != nullptr && !untoldAnswers_.empty()) {
            const SubscribeAnswer answer = std::move(untoldAnswers_.front());
            untoldAnswers_.pop_front();
            // The owner knows nothing of a restoration's SUBSCRIBE: it hears only of topics that were
            // refused.
            if (answer.isRestoration) {
                tellUntold();
            } else if (delegate_ != nullptr) {
                delegate_->subAckReceived(*this, answer.packetId, answer.codes);
            }
        }
    } catch (...) {
        if (anchor->session != nullptr && !untoldAnswers_.empty()) {
            // In a later pass, ahead of what is left of the read.
            runLoop_.post([anchor] {
                if (auto* const session = sessionAt(*anchor)) {
                    session->tellSubscribeAnswers();
                }
            });
        }
        throw;
    }
}

void MQTTClientSession::connectionDidFinishStep() {
    traffic_.stepDidFinish();
    tellUntoldLater();
    armRetryTimer();
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
    doThenAlways(
        [&] {
            try {
                // The owner may answer much later, after a file sync on another thread; the connection may
                // be gone then, or have another turn open, which the number tells.
                delegate_->sessionDidDeliver(*this, [connection, turn] {
                    if (const auto waiting = connection.lock()) {
                        waiting->acknowledgeTurn(turn);
                    }
                });
            } catch (const std::bad_alloc&) {
                // Nobody would answer for this turn.
                if (lasting) {
                    lasting->breakForWantOfMemory();
                }
                throw;
            }
        },
        [&lasting](bool hasReturned) {
            if (lasting) {
                lasting->didCloseTurn(hasReturned);
            }
        });
}

// ---- What the delegate has not been told.

void MQTTClientSession::tellUntoldLater() {
    if (!traffic_.hasUntold()) {
        return;
    }
    runLoop_.post([anchor = anchor_] {
        if (auto* const session = sessionAt(*anchor)) {
            session->tellUntold();
        }
    });
}

void MQTTClientSession::tellUntold() {
    // Each telling may destroy this session, or take its delegate away.
    const auto anchor = anchor_;
    try {
        while (anchor->session != nullptr && delegate_ != nullptr) {
            const auto outcome = traffic_.takeUntold();
            if (!outcome) {
                return;
            }
            tell(*outcome);
        }
    } catch (...) {
        if (anchor->session != nullptr) {
            // What threw has left the list already; the rest is told in a later pass.
            tellUntoldLater();
        }
        throw;
    }
}

void MQTTClientSession::tell(const UntoldOutcome& outcome) {
    switch (outcome.kind) {
        case UntoldOutcome::Kind::PublicationFailed:
            delegate_->publicationDidFail(*this, outcome.data, outcome.topic, outcome.error);
            return;
        case UntoldOutcome::Kind::SubscriptionFailed:
            delegate_->subscriptionDidFail(*this, outcome.topic, outcome.error);
            return;
        case UntoldOutcome::Kind::UnsubscriptionFailed:
            delegate_->unsubscriptionDidFail(*this, outcome.topic, outcome.error);
            return;
        case UntoldOutcome::Kind::RestoredTopicRefused:
            delegate_->topicWasRefused(*this, outcome.topic);
            return;
        case UntoldOutcome::Kind::UnsubscriptionSettled:
            delegate_->unsubAckReceived(*this, outcome.packetId);
            return;
    }
}

// ---- Trying again what was set aside.

void MQTTClientSession::armRetryTimer() {
    const auto next = traffic_.nextTry();
    // A timer that is due earlier finds nothing to do when it fires, and is armed anew then.
    if (!next || (retryTimer_ && retryAt_ <= *next)) {
        return;
    }
    if (retryTimer_) {
        retryTimer_->invalidate();
    }
    retryAt_ = *next;
    // Rounded up, so that the thing is due when the timer looks.
    const auto delay = std::chrono::ceil<std::chrono::milliseconds>(*next - clock_->steadyNow());
    retryTimer_ = runLoop_.scheduleTimer(std::max(delay, std::chrono::milliseconds(0)), [anchor = anchor_] {
        if (auto* const session = sessionAt(*anchor)) {
            session->retryTimerDidFire();
        }
    });
}

void MQTTClientSession::retryTimerDidFire() {
    retryTimer_.reset();
    traffic_.tryAgain(clock_->steadyNow());
    armRetryTimer();
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
