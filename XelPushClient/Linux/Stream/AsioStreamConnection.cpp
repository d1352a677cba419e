#include "XelPushClient/Linux/Stream/AsioStreamConnection.h"

#include <new>
#include <stdexcept>
#include <utility>

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>

#include "XelPushClient/Foundation/OnLeaving.h"

namespace xel {

namespace asio = boost::asio;

AsioStreamConnection::AsioStreamConnection(const std::shared_ptr<AsioLoopCore>& core,
                                           asio::io_context& context, std::shared_ptr<AsioStreamTLS> tls,
                                           ByteStreamObserver& observer, const AsioByteStreamTimes& times)
    : core_(core),
      observer_(&observer),
      lingerTime_(times.linger),
      opening_(std::make_shared<AsioStreamOpening>(core, context, std::move(tls), times)) {}

// Opening

void AsioStreamConnection::open(std::string_view host, std::uint16_t port, bool usingTLS) {
    if (phase_ != Phase::New) {
        throw std::logic_error("a byte stream was opened twice");
    }
    phase_ = Phase::Opening;
    peer_ = {std::string(host), port};
    opening_->start(peer_, usingTLS, [weak = weak_from_this()](Result<OpenedStream> outcome) {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        if (outcome) {
            self->becomeOpen(std::move(outcome).value());
        } else {
            self->fail(outcome.error());
        }
    });
}

std::string AsioStreamConnection::describeProgress() const {
    return phase_ == Phase::Opening ? opening_->describeProgress() : std::string();
}

void AsioStreamConnection::becomeOpen(OpenedStream stream) {
    opening_.reset();
    stream_ = std::move(stream);
    stream_.writer->setObserver(weak_from_this());
    phase_ = Phase::Open;
    // It may have failed with the last octets of the handshake, before it had this observer. The loss is
    // posted, so that what streamDidOpen asks to read still comes first.
    if (stream_.writer->failure()) {
        writingDidFail();
    }
    observer_->streamDidOpen();
}

// Reading

void AsioStreamConnection::receive() {
    // Inside a delivery the buffers still hold what the observer is reading: `deliver` goes on when it
    // has returned.
    if (phase_ != Phase::Open || std::exchange(isReceiveWanted_, true) || isDelivering_) {
        return;
    }
    if (!stream_.engine || !stream_.engine->mayHoldMore()) {
        startRead();
        return;
    }
    if (const auto core = core_.lock()) {
        // What has arrived already is delivered by another pass: no callback comes inside a call.
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
    stream_.socket->hastenFirstAnswer();
    if (isMoreLeft_ || stream_.writer->failure()) {
        readSoon();
        return;
    }
    stream_.socket->awaitReadable(shared_from_this());
    const auto core = core_.lock();
    if (core && std::exchange(isBreakUnseen_, false)) {
        core->callAtEndOfPass(weak_from_this());
    }
}

// In another handler: other sockets get their turn.
void AsioStreamConnection::readSoon() {
    asio::post(stream_.socket->get_executor(), [self = shared_from_this()] { self->mayBeReadable(); });
}

// A read that brought octets has not seen whether the connection has broken behind them, and then nothing
// more arrives to tell of it. What is sent in the same pass, as an acknowledgement is, sees it; where nothing
// is sent the kernel is asked.
void AsioStreamConnection::passDidEnd() noexcept {
    if (!isReading_ || stream_.writer->isAboutToSend() || stream_.writer->sends() != sendsAtLastRead_ ||
        !stream_.socket->isReadable()) {
        return;
    }
    try {
        readSoon();
    } catch (const std::bad_alloc&) {
        return;  // the next write meets the break
    }
}

void AsioStreamConnection::mayBeReadable() {
    if (const auto core = core_.lock(); core && isReading_) {
        core->runThenDrain([this] { read(); });
    }
}

void AsioStreamConnection::read() {
    isReading_ = false;
    if (phase_ != Phase::Open && phase_ != Phase::Lingering) {
        return;
    }
    const auto core = core_.lock();
    const LoopBuffers::Block block(core->buffers());
    sendsAtLastRead_ = stream_.writer->sends();
    const SocketRead result = stream_.socket->readSome(block.octets());
    isMoreLeft_ = result.isMoreLeft;
    isBreakUnseen_ = result.count > 0;
    if (result.count > 0 || result.error) {
        readEnded(result.error, {block.octets().data(), result.count});
    } else if (stream_.writer->failure()) {
        // There was no more to be read before it.
        readWasRefused(asio::error::broken_pipe);
    } else {
        startRead();
    }
}

void AsioStreamConnection::readEnded(const boost::system::error_code& error, std::string_view octets) {
    switch (phase_) {
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
    } else if (stream_.engine) {
        stream_.engine->take(octets);
        deliverDecrypted();
    } else {
        deliver(octets);
    }
}

void AsioStreamConnection::readWasRefused(const boost::system::error_code& error) {
    // The kernel reports a reset once. When a write has met it, the read behind it sees no
    // more than an end.
    if (const auto& failure = stream_.writer->failure()) {
        fail(*failure);
    } else if (error != asio::error::eof) {
        fail(peer_.wasLost(error));
    } else if (stream_.engine) {
        // Whoever is on the way can forge the end of a TCP connection, but not that of a TLS one (RFC
        // 8446 section 6.1).
        fail(peer_.wasLost("the host ended it without saying so by TLS, so something may be missing",
                           ByteStreamErrorCode::ConnectionReset));
    } else {
        finishByPeer();
    }
}

void AsioStreamConnection::deliverDecrypted() {
    const auto core = core_.lock();
    if (!core) {
        return;
    }
    const LoopBuffers::Block block(core->buffers());
    std::size_t count = 0;
    std::string toSend;
    const auto progress = stream_.engine->decrypt(block.octets(), count, toSend);
    stream_.writer->writeRecords(toSend);
    switch (progress) {
        case TLSEngine::Progress::Done: deliver({block.octets().data(), count}); return;
        case TLSEngine::Progress::NeedsMore: startRead(); return;
        case TLSEngine::Progress::Ended: finishByPeer(); return;
        case TLSEngine::Progress::Failed: fail(peer_.wasLost(stream_.engine->failure())); return;
    }
}

void AsioStreamConnection::deliver(std::string_view octets) {
    stream_.socket->firstAnswerHasCome();
    isReceiveWanted_ = false;
    isDelivering_ = true;
    // Also when the observer throws: it may have asked for more before, and nobody else
    // would start that read.
    doThenAlways([&] { observer_->streamDidReceive(octets); },
                 [this] {
                     isDelivering_ = false;
                     if (phase_ == Phase::Open && isReceiveWanted_) {
                         continueReading();
                     }
                 });
}

void AsioStreamConnection::continueReading() {
    if (!stream_.engine || !stream_.engine->mayHoldMore()) {
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

void AsioStreamConnection::end() {
    phase_ = Phase::Over;
    observer_ = nullptr;
    if (opening_) {
        opening_->cancel();
        opening_.reset();
    }
    const bool everythingWasSent = !stream_.writer || stream_.writer->hasSentEverything();
    if (stream_.socket) {
        stream_.writer->stop();
        stream_.socket->end();
    }
    if (deadline_) {
        deadline_->invalidate();
        deadline_.reset();
    }
    if (const auto core = core_.lock(); core && ended_) {
        core->post([ended = std::exchange(ended_, nullptr), everythingWasSent] { ended(everythingWasSent); });
    }
}

void AsioStreamConnection::drop() {
    observer_ = nullptr;
    if (phase_ != Phase::Lingering) {
        end();
    }
}

// Writing

void AsioStreamConnection::write(std::string_view octets) {
    if (phase_ == Phase::Open) {
        stream_.writer->write(octets);
    }
}

void AsioStreamConnection::closeAfterWriting(ByteStream::Ended ended) {
    observer_ = nullptr;
    ended_ = std::move(ended);
    if (phase_ != Phase::Open || stream_.writer->failure()) {
        end();
        return;
    }
    phase_ = Phase::Lingering;
    limitLingering();
    stream_.writer->endAfterWriting();
    // Reading goes on until the peer's end: a socket that is closed with octets unread answers by a
    // reset (RFC 1122 section 4.2.2.13), which may cost the peer what it has not read yet.
    if (phase_ == Phase::Lingering) {
        startRead();
    }
}

void AsioStreamConnection::limitLingering() {
    if (const auto core = core_.lock()) {
        deadline_ = core->scheduleTimer(lingerTime_, [weak = weak_from_this()] {
            const auto self = weak.lock();
            if (self && self->phase_ == Phase::Lingering) {
                self->end();
            }
        });
    }
}

// What the peer sent before it went is still to be read, and says more than a failed write: a read that is
// waited for, or that is asked for later, reports the loss. Without one it is posted.
void AsioStreamConnection::writingDidFail() {
    if (phase_ == Phase::Lingering) {
        end();
        return;
    }
    const auto core = core_.lock();
    if (!core) {
        return;
    }
    core->post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self || self->phase_ != Phase::Open) {
            return;
        }
        if (self->isReading_) {
            self->read();
        } else {
            self->fail(*self->stream_.writer->failure());
        }
    });
}

}  // namespace xel
