#include "XelPushClient/Testing/FakeNetwork.h"

#include <algorithm>
#include <stdexcept>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Testing/FakeByteStream.h"

namespace xel {

FakeConnection::FakeConnection(NSRunLoop& runLoop, std::string host, std::uint16_t port, bool usingTLS)
    : runLoop_(runLoop), host_(std::move(host)), port_(port), usingTLS_(usingTLS) {}

void FakeConnection::postToSelf(std::function<void(FakeConnection&)> block) {
    runLoop_.post([weak = weak_from_this(), block = std::move(block)] {
        if (const auto connection = weak.lock()) {
            block(*connection);
        }
    });
}

void FakeConnection::accept() {
    if (state_ != FakeConnectionState::Opening) {
        throw std::logic_error("a connection was accepted that does not wait for it");
    }
    state_ = FakeConnectionState::Open;
    postToSelf([](FakeConnection& self) {
        self.clientKnowsOpen_ = true;
        if (self.observer_ != nullptr) {
            self.observer_->streamDidOpen();
        }
    });
}

void FakeConnection::fail(ByteStreamErrorCode code, std::string_view description) {
    if (state_ != FakeConnectionState::Opening && state_ != FakeConnectionState::Open) {
        return;
    }
    state_ = FakeConnectionState::Failed;
    toClient_.clear();
    if (isSevered_) {
        return;
    }
    const std::string where = host_ + ":" + std::to_string(port_);
    const auto error = makeError(kByteStreamErrorDomain, static_cast<std::int64_t>(code),
                                 where + ": " + std::string(description));
    postToSelf([error](FakeConnection& self) {
        if (auto* observer = std::exchange(self.observer_, nullptr)) {
            observer->streamDidFail(error);
        }
    });
}

void FakeConnection::feed(std::string_view octets) {
    if (state_ != FakeConnectionState::Open || endWanted_ || isSevered_) {
        return;
    }
    toClient_ += octets;
    scheduleDelivery();
}

void FakeConnection::endByPeer() {
    if (state_ != FakeConnectionState::Open) {
        return;
    }
    endWanted_ = true;
    scheduleDelivery();
}

void FakeConnection::scheduleDelivery() {
    if (receiveWanted_ && !deliveryIsPosted_ && (!toClient_.empty() || endWanted_)) {
        deliveryIsPosted_ = true;
        postToSelf([](FakeConnection& self) { self.deliverOnce(); });
    }
}

void FakeConnection::deliverOnce() {
    deliveryIsPosted_ = false;
    if (observer_ == nullptr || state_ != FakeConnectionState::Open || isSevered_ || isStalled()) {
        return;
    }
    receiveWanted_ = false;
    // The end comes behind everything that was sent before it.
    if (toClient_.empty()) {
        state_ = FakeConnectionState::EndedByPeer;
        std::exchange(observer_, nullptr)->streamDidEndByPeer();
        return;
    }
    const auto count =
        conditions_->passing(FakeDirection::ToClient, std::min(mostOctetsPerRead_, toClient_.size()));
    const std::string octets = toClient_.substr(0, count);
    toClient_.erase(0, count);
    if (conditions_->pass(FakeDirection::ToClient, count)) {
        postToSelf([](FakeConnection& self) { self.breakByNetwork(); });
    }
    observer_->streamDidReceive(octets);
}

void FakeConnection::breakByNetwork() {
    fail(ByteStreamErrorCode::ConnectionLost, "the network broke the connection");
    hearClosed();
}

void FakeConnection::hearClosed() {
    if (closedHandler_) {
        closedHandler_();
    }
}

void FakeConnection::clearRecords() {
    written_.clear();
    segments_.clear();
}

void FakeConnection::goOn() {
    scheduleDelivery();
    deliverSegment();
    if (std::exchange(closedWanted_, false)) {
        hearClosed();
    }
}

bool FakeConnection::isOver() const {
    return state_ != FakeConnectionState::Opening && state_ != FakeConnectionState::Open &&
           fromClient_.empty() && !closeIsPosted_ && !closedWanted_;
}

void FakeConnection::receiveFromClientSide() {
    receiveWanted_ = true;
    scheduleDelivery();
}

void FakeConnection::writeFromClientSide(std::string_view octets) {
    if (!clientKnowsOpen_) {
        throw std::logic_error("a stream was written to before it was open");
    }
    if (state_ != FakeConnectionState::Open) {
        return;
    }
    fromClient_ += octets;
    if (!segmentIsPosted_) {
        segmentIsPosted_ = true;
        postToSelf([](FakeConnection& self) { self.deliverSegment(); });
    }
}

void FakeConnection::deliverSegment() {
    segmentIsPosted_ = false;
    if (fromClient_.empty() || isStalled()) {
        return;
    }
    std::string octets = std::exchange(fromClient_, {});
    if (isSevered_) {
        return;
    }
    octets.resize(conditions_->passing(FakeDirection::FromClient, octets.size()));
    segments_.push_back(octets);
    written_ += octets;
    const bool isBroken = conditions_->pass(FakeDirection::FromClient, octets.size());
    if (octetsHandler_) {
        octetsHandler_(octets);
    }
    if (isBroken) {
        breakByNetwork();
    }
}

void FakeConnection::closeFromClientSide(bool keepsWritten) {
    // First, so that nothing that is posted already calls back.
    observer_ = nullptr;
    toClient_.clear();
    if (!keepsWritten) {
        fromClient_.clear();
    }
    if (state_ != FakeConnectionState::Opening && state_ != FakeConnectionState::Open) {
        return;
    }
    state_ = FakeConnectionState::ClosedByClient;
    closeIsPosted_ = true;
    postToSelf([](FakeConnection& self) {
        self.closeIsPosted_ = false;
        self.deliverSegment();
        if (self.isStalled()) {
            self.closedWanted_ = true;
        } else if (!self.isSevered_) {
            self.hearClosed();
        }
    });
}

std::unique_ptr<ByteStream> FakeNetwork::makeStream(NSRunLoop& runLoop, ByteStreamObserver& observer) {
    return std::make_unique<FakeByteStream>(
        runLoop, observer,
        life_.guarded([&runLoop](FakeNetwork& self, const std::shared_ptr<FakeConnection>& connection) {
            self.add(runLoop, connection);
        }));
}

void FakeNetwork::add(NSRunLoop& runLoop, const std::shared_ptr<FakeConnection>& connection) {
    connection->conditions_ = conditions_;
    connections_.push_back(connection);
    underWay_.push_back(connection);
    // A stream's observer hears nothing inside `open`.
    runLoop.post(life_.guarded([connection](FakeNetwork& self) { self.attempt(connection); }));
}

void FakeNetwork::attempt(const std::shared_ptr<FakeConnection>& connection) {
    if (!handler_ || connection->state() != FakeConnectionState::Opening) {
        return;
    }
    if (conditions_->has(FakeNetworkTrouble::Unreachable) ||
        conditions_->has(FakeNetworkTrouble::Interrupted)) {
        connection->fail(ByteStreamErrorCode::ConnectFailed, "network is unreachable");
    } else if (conditions_->has(FakeNetworkTrouble::NoNames)) {
        connection->fail(ByteStreamErrorCode::NameNotFound, "the name is not known");
    } else if (conditions_->has(FakeNetworkTrouble::Refusing)) {
        connection->fail(ByteStreamErrorCode::ConnectFailed, "connection refused");
    } else if (conditions_->has(FakeNetworkTrouble::Stalled) || conditions_->has(FakeNetworkTrouble::Dead)) {
        waiting_.push_back(connection);
    } else {
        handler_(connection);
    }
}

void FakeNetwork::setTrouble(FakeNetworkTrouble trouble, bool isThere) {
    if (!isThere) {
        conditions_->troubles.erase(trouble);
        goOn();
        return;
    }
    conditions_->troubles.insert(trouble);
    for (const auto& connection : connectionsUnderWay()) {
        if (!connection->isOpen()) {
            continue;
        }
        if (trouble == FakeNetworkTrouble::Dead) {
            connection->sever();
        } else if (trouble == FakeNetworkTrouble::Unreachable || trouble == FakeNetworkTrouble::Interrupted) {
            connection->breakByNetwork();
        }
    }
}

void FakeNetwork::clearRecords() {
    std::erase_if(connections_, [](const auto& connection) {
        return connection->state() != FakeConnectionState::Opening && !connection->isOpen();
    });
    for (const auto& connection : connections_) {
        connection->clearRecords();
    }
}

void FakeNetwork::goOn() {
    for (const auto& connection : std::exchange(waiting_, {})) {
        attempt(connection);
    }
    for (const auto& connection : connectionsUnderWay()) {
        connection->goOn();
    }
}

std::vector<std::shared_ptr<FakeConnection>> FakeNetwork::connectionsUnderWay() {
    std::erase_if(underWay_, [](const auto& connection) { return connection->isOver(); });
    return underWay_;
}

void FakeNetwork::breakAfter(FakeDirection direction, std::size_t octets) {
    if (octets == 0) {
        throw std::invalid_argument("a connection breaks after one octet at least");
    }
    conditions_->octetsUntilBreak[direction] = octets;
}

}  // namespace xel
