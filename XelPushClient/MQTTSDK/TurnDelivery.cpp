#include "XelPushClient/MQTTSDK/TurnDelivery.h"

#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

void TurnDelivery::begin() {
    if (!isIdle()) {
        return;
    }
    state_ = State::Delivering;
    ++number_;
    publicationCount_ = 0;
    packetIdCount_ = 0;
    // Last: it may throw, or close the connection, and the turn is whole by then.
    anchor_->session->connectionWillDeliver();
}

void TurnDelivery::deliver(const MQTTInboundPacket& publication) {
    // Counted before the session has it: one whose handling throws is acknowledged like the others.
    ++publicationCount_;
    bool isRepeat = false;
    if (publication.qos != 0) {
        const KeyedHash hash = keyedHashOf(publication.topic, publication.payload);
        isRepeat = acknowledgements_->takeArrival(publication.packetId, publication.duplicate, hash);
        packetIds_[packetIdCount_] = publication.packetId;
        hashes_[packetIdCount_++] = hash;
    }
    try {
        anchor_->session->connectionDidReceive(publication, isRepeat);
    } catch (const MQTTPublicationNotTaken&) {
        packetIdCount_ -= publication.qos != 0 ? 1 : 0;
        throw;
    }
}

void TurnDelivery::skipClosing(std::uint64_t turn) {
    if (number_ == turn && state_ == State::Closing) {
        state_ = State::ClosingSkipped;
    }
}

void TurnDelivery::willClose(std::uint64_t turn) {
    if (number_ == turn) {
        state_ = State::AwaitingAcknowledgement;
        isBeingClosed_ = true;
    }
}

bool TurnDelivery::end(std::uint64_t turn) {
    if (number_ != turn || state_ != State::AwaitingAcknowledgement) {
        return false;
    }
    state_ = State::Idle;
    return true;
}

void TurnDelivery::rememberAcknowledgements(std::uint64_t place) {
    for (std::size_t i = 0; i < packetIdCount_; ++i) {
        acknowledgements_->didAcknowledge(packetIds_[i], hashes_[i], place);
    }
}

}  // namespace xel
