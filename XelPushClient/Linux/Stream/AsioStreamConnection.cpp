#include "XelPushClient/Linux/Stream/AsioStreamConnection.h"

#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

#include "XelPushClient/Linux/Stream/TLSErrors.h"

namespace xel {

namespace asio = boost::asio;

AsioStreamConnection::AsioStreamConnection(const std::shared_ptr<AsioLoopCore>& core,
                                           asio::io_context& context, std::shared_ptr<AsioStreamTLS> tls,
                                           ByteStreamObserver& observer, const AsioByteStreamTimes& times)
    : core_(core), context_(context), tls_(std::move(tls)), observer_(&observer), times_(times) {}

// Reading

void AsioStreamConnection::receive() {
    if (phase_ != Phase::Open || std::exchange(isReceiveWanted_, true) || isDelivering_) {
        return;
    }
    if (!engine_ || !engine_->mayHoldMore()) {
        startRead();
        return;
    }
    if (const auto core = core_.lock()) {
        core->post([weak = weak_from_this()] {
            const auto self = weak.lock();
            if (self && self->phase_ == Phase::Open && self->isReceiveWanted_ && !self->isReading_) {
                self->continueReading();
            }
        });
    }
}

void AsioStreamConnection::startRead() {
    if (std::exchange(isReading_, true)) {
        return;
    }
    hastenFirstAnswer();
    socket_->async_read_some(
        asio::buffer(received_.get(), kReadSize),
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t count) {
            if (const auto core = self->core_.lock()) {
                core->runThenDrain([&] { self->readEnded(error, count); });
            }
        });
}

void AsioStreamConnection::readEnded(const boost::system::error_code& error, std::size_t count) {
    isReading_ = false;
    const std::string_view octets(received_.get(), count);
    switch (phase_) {
        case Phase::ShakingHands: receivedWhileShakingHands(error, octets); return;
        case Phase::Lingering:
            // What the peer still sends is of no use; its end is what is waited for.
            if (error) {
                end();
            } else {
                startRead();
            }
            return;
        case Phase::Open: break;
        default: return;
    }
    if (error) {
        readWasRefused(error);
    } else if (engine_) {
        engine_->take(octets);
        deliverDecrypted();
    } else {
        deliver(octets);
    }
}

void AsioStreamConnection::receivedWhileShakingHands(const boost::system::error_code& error,
                                                     std::string_view octets) {
    if (!error) {
        stepHandshake(std::string(octets));
        return;
    }
    const std::string cause = error == asio::error::eof ? "the host ended the connection" : error.message();
    fail(tlsError("cannot connect to " + hostAndPort() + " by TLS: " + cause + " during the handshake"));
}

void AsioStreamConnection::readWasRefused(const boost::system::error_code& error) {
    if (writeFailure_) {
        fail(*writeFailure_);
    } else if (error != asio::error::eof) {
        fail(lossOf(error));
    } else if (engine_) {
        fail(streamError(
            ByteStreamErrorCode::ConnectionReset,
            "the connection to " + hostAndPort() +
                " was lost: the host ended it without saying so by TLS, so something may be missing"));
    } else {
        finishByPeer();
    }
}

void AsioStreamConnection::deliverDecrypted() {
    std::size_t count = 0;
    const auto progress = engine_->decrypt({decrypted_.get(), kReadSize}, count, outgoing_);
    if (sent_ < outgoing_.size()) {
        planFlush();
    }
    switch (progress) {
        case TLSEngine::Progress::Done: deliver({decrypted_.get(), count}); return;
        case TLSEngine::Progress::NeedsMore: startRead(); return;
        case TLSEngine::Progress::Ended: finishByPeer(); return;
        case TLSEngine::Progress::Failed: fail(lossBecause(engine_->failure())); return;
    }
}

void AsioStreamConnection::deliver(std::string_view octets) {
    isFirstAnswerAwaited_ = false;
    isReceiveWanted_ = false;
    isDelivering_ = true;
    try {
        observer_->streamDidReceive(octets);
    } catch (...) {
        isDelivering_ = false;
        if (phase_ == Phase::Open && isReceiveWanted_) {
            continueReading();
        }
        throw;
    }
    isDelivering_ = false;
    if (phase_ == Phase::Open && isReceiveWanted_) {
        continueReading();
    }
}

void AsioStreamConnection::continueReading() {
    if (!engine_ || !engine_->mayHoldMore()) {
        startRead();
        return;
    }
    deliverDecrypted();
}

// Ending

void AsioStreamConnection::finishByPeer() {
    ByteStreamObserver* const observer = observer_;
    end();
    observer->streamDidEndByPeer();
}

void AsioStreamConnection::fail(const NSError& error) {
    ByteStreamObserver* const observer = observer_;
    end();
    if (observer != nullptr) {
        observer->streamDidFail(error);
    }
}

NSError AsioStreamConnection::lossBecause(std::string_view cause) const {
    return streamError(ByteStreamErrorCode::ConnectionLost,
                       "the connection to " + hostAndPort() + " was lost: " + std::string(cause));
}

// Whether it was the peer's doing: a path that went away ends in a time-out.
NSError AsioStreamConnection::lossOf(const boost::system::error_code& error) const {
    NSError loss = lossBecause(error.message());
    if (error == asio::error::connection_reset || error == asio::error::broken_pipe) {
        loss.code = static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionReset);
    }
    return loss;
}

void AsioStreamConnection::end() {
    phase_ = Phase::Over;
    observer_ = nullptr;
    if (connector_) {
        connector_->cancel();
        connector_.reset();
    }
    if (socket_) {
        socket_->end();
    }
    if (deadline_) {
        deadline_->invalidate();
        deadline_.reset();
    }
}

void AsioStreamConnection::drop() {
    observer_ = nullptr;
    if (phase_ != Phase::Lingering) {
        end();
    }
}

void AsioStreamConnection::closeAfterWriting() {
    observer_ = nullptr;
    if (phase_ != Phase::Open || writeFailure_) {
        end();
        return;
    }
    phase_ = Phase::Lingering;
    setDeadline(times_.linger, &AsioStreamConnection::lingeredTooLong);
    sendLastWords();
    if (phase_ == Phase::Lingering) {
        startRead();
    }
}

void AsioStreamConnection::setDeadline(std::chrono::milliseconds time,
                                       void (AsioStreamConnection::*expired)()) {
    if (deadline_) {
        deadline_->invalidate();
    }
    if (const auto core = core_.lock()) {
        deadline_ = core->scheduleTimer(time, [weak = weak_from_this(), expired] {
            if (const auto self = weak.lock()) {
                (self.get()->*expired)();
            }
        });
    }
}

void AsioStreamConnection::handshakeTookTooLong() {
    if (phase_ == Phase::ShakingHands) {
        fail(tlsError("cannot connect to " + hostAndPort() +
                      " by TLS: the host did not answer the handshake in time"));
    }
}

void AsioStreamConnection::lingeredTooLong() {
    if (phase_ == Phase::Lingering) {
        end();
    }
}

}  // namespace xel
