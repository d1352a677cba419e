#include <string>
#include <utility>

#include "XelPushClient/Foundation/FlagWhile.h"
#include "XelPushClient/MQTTSDK/MQTTConnection.h"
#include "XelPushClient/MQTTSDK/MQTTErrors.h"

// A connection's way from what was received to what is delivered, turn by turn.

namespace xel {

// One step: packets are taken until the read is used up, the turn is full, or the connection is over.
void MQTTConnection::takeInput() {
    if (!isAttached_ || !isStreamOpen_ || isInStep_ || !turn_.isIdle()) {
        return;
    }
    const FlagWhile inStep(isInStep_);
    try {
        while (isAttached_ && turn_.hasRoom() && takePacket()) {}
    } catch (...) {
        finishStep(false);
        throw;
    }
    finishStep(true);
}

bool MQTTConnection::takePacket() {
    const std::string_view inputBefore = input_.unread();
    const MQTTEngineEvent event = engine_.next(input_.unread(), packet_);
    switch (event) {
        case MQTTEngineEvent::Publication: return deliver(inputBefore);
        case MQTTEngineEvent::NeedMore: return false;
        case MQTTEngineEvent::Connected:
            engine_.didConnect(clock_->steadyNow());
            armTimer();
            acknowledgements_->connectionDidOpen(packet_.sessionPresent);
            anchor_->session->connectionDidOpen(packet_.sessionPresent);
            flush();
            return true;
        case MQTTEngineEvent::Refused:
            end(MQTTSessionEvent::ConnectionRefused, makeConnackError(packet_.returnCode));
            return false;
        case MQTTEngineEvent::Violation:
            // What came in order before it is delivered and acknowledged in order: the turn closes first.
            if (!turn_.isDelivering()) {
                end(MQTTSessionEvent::ProtocolError,
                    makeMQTTError(MQTTErrorCode::ProtocolViolation,
                                  "the broker broke the protocol: " + std::string(engine_.fault())));
            }
            return false;
        default: anchor_->session->connectionDidReceiveAnswer(event, packet_); return true;
    }
}

bool MQTTConnection::deliver(std::string_view inputBefore) {
    if (!anchor_->isListening) {
        input_.unread() = inputBefore;
        return false;
    }
    if (turn_.isIdle()) {
        turn_.begin();
        // Should the owner throw, or close, the publication has not been taken.
        const std::string_view inputBehind = std::exchange(input_.unread(), inputBefore);
        anchor_->session->connectionWillDeliver();
        if (!isAttached_ || !anchor_->isListening) {
            return false;
        }
        input_.unread() = inputBehind;
    }
    // Counted first: one whose handling throws counts as delivered.
    bool isRepeat = false;
    if (packet_.qos == 0) {
        turn_.add();
    } else {
        const PublicationHash hash = hashPublication(packet_.topic, packet_.payload);
        isRepeat = acknowledgements_->takeArrival(packet_.packetId, packet_.duplicate, hash);
        turn_.add(packet_.packetId, hash);
    }
    anchor_->session->connectionDidReceive(packet_, isRepeat);
    return true;
}

void MQTTConnection::finishStep(bool completesNormally) {
    input_.keep();
    if (isAttached_) {
        acknowledgements_->didReceiveAnswerTo(engine_.answeredPlace());
        anchor_->session->connectionDidFinishStep();
        noteSilence(true);
        flush();
    }
    if (turn_.isDelivering()) {
        endTurn();
    } else if (!isAttached_) {
        return;
    } else if (!completesNormally) {
        resumeLater();
    } else if (anchor_->isListening) {
        stream_->receive();
    }
}

// Also for a connection that ended meanwhile: the owner still has to store what it was given.
void MQTTConnection::endTurn() {
    turn_.beginClosing();
    wasClosingSkipped_ = false;
    if (anchor_->session != nullptr) {
        anchor_->session->connectionDidEndTurn(weak_from_this(), turn_.number());
    }
}

void MQTTConnection::willCloseTurn(std::uint64_t turn) {
    if (turn_.number() == turn) {
        turn_.beginAwaitingAcknowledgement();
        isInClosing_ = true;
    }
}

void MQTTConnection::didCloseTurn(bool completesNormally) {
    isInClosing_ = false;
    if (!turn_.isIdle()) {
        return;
    }
    if (completesNormally) {
        takeInput();
    } else {
        resumeLater();
    }
}

void MQTTConnection::didSkipClosing(std::uint64_t turn) {
    wasClosingSkipped_ = turn_.number() == turn;
}

void MQTTConnection::acknowledgeTurn(std::uint64_t turn) {
    if (turn_.number() != turn || turn_.state() != Turn::State::AwaitingAcknowledgement) {
        return;
    }
    turn_.end();
    if (!isAttached_) {
        return;
    }
    rememberAcknowledgements(engine_.place());
    engine_.acknowledge(turn_.packetIds());
    flush();
    if (!isInClosing_) {
        resumeLater();
    }
}

void MQTTConnection::rememberAcknowledgements(std::uint64_t place) {
    for (std::size_t i = 0; i < turn_.packetIds().size(); ++i) {
        acknowledgements_->didAcknowledge(turn_.packetIds()[i], turn_.hashes()[i], place);
    }
}

void MQTTConnection::resumeLater() {
    if (std::exchange(isResumePosted_, true)) {
        return;
    }
    runLoop_.post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->resume();
        }
    });
}

void MQTTConnection::resume() {
    isResumePosted_ = false;
    if (wasClosingSkipped_) {
        endTurn();
    } else {
        takeInput();
    }
}

}  // namespace xel
