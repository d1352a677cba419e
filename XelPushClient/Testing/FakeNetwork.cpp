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
    if (state_ != FakeConnectionState::Open || endWanted_) {
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
    if (observer_ == nullptr || state_ != FakeConnectionState::Open) {
        return;
    }
    receiveWanted_ = false;
    // The end comes behind everything that was sent before it.
    if (toClient_.empty()) {
        state_ = FakeConnectionState::EndedByPeer;
        std::exchange(observer_, nullptr)->streamDidEndByPeer();
        return;
    }
    const auto count = std::min(mostOctetsPerRead_, toClient_.size());
    const std::string octets = toClient_.substr(0, count);
    toClient_.erase(0, count);
    observer_->streamDidReceive(octets);
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
    if (fromClient_.empty()) {
        return;
    }
    segments_.push_back(std::exchange(fromClient_, {}));
    written_ += segments_.back();
    if (octetsHandler_) {
        const std::string octets = segments_.back();
        octetsHandler_(octets);
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
    postToSelf([](FakeConnection& self) {
        self.deliverSegment();
        if (self.closedHandler_) {
            self.closedHandler_();
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
    connections_.push_back(connection);
    // A stream's observer hears nothing inside `open`.
    runLoop.post(life_.guarded([connection](FakeNetwork& self) {
        if (self.handler_ && connection->state() == FakeConnectionState::Opening) {
            self.handler_(connection);
        }
    }));
}

}  // namespace xel
