#include "XelPushClient/Linux/Stream/AsioStreamOpening.h"

#include <exception>
#include <system_error>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>

namespace xel {

namespace asio = boost::asio;

namespace {

/// A host's part of a handshake is a few certificates long.
constexpr std::size_t kReadSize = 16 * 1024;

}  // namespace

AsioStreamOpening::AsioStreamOpening(std::weak_ptr<AsioLoopCore> core, asio::io_context& context,
                                     std::shared_ptr<AsioStreamTLS> tls, const AsioByteStreamTimes& times)
    : core_(std::move(core)),
      tls_(std::move(tls)),
      times_(times),
      connector_(std::make_shared<AsioConnector>(core_, context, times.connect)) {}

void AsioStreamOpening::start(StreamPeer peer, bool usingTLS, Done done) {
    peer_ = std::move(peer);
    isUsingTLS_ = usingTLS;
    done_ = std::move(done);
    if (usingTLS) {
        readTrustStoreAhead();
    }
    connector_->start(peer_, [weak = weak_from_this()](Result<std::shared_ptr<AsioSocket>> outcome) {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        if (outcome) {
            self->wasConnected(std::move(outcome).value());
        } else {
            self->fail(outcome.error());
        }
    });
}

/// The trust store is read while the host is looked up. What goes wrong shows in the handshake.
void AsioStreamOpening::readTrustStoreAhead() {
    try {
        // The job holds the context alone: with the last hold on all of it, the worker would wait for
        // its own thread.
        tls_->worker.add([context = tls_->context] { (void)context->native().isOk(); });
    } catch (const std::system_error&) {
        // There is no thread to be had now; the handshake asks for one again.
    }
}

std::string AsioStreamOpening::describeProgress() const {
    return stream_.engine ? "the TLS handshake is not done" : connector_->describeProgress();
}

void AsioStreamOpening::wasConnected(std::shared_ptr<AsioSocket> socket) {
    stream_.socket = std::move(socket);
    boost::system::error_code error;
    // The writer gathers what belongs together; the kernel's own gathering (RFC 9293 section 3.7.4)
    // would hold a packet back until the one before it has been acknowledged.
    stream_.socket->set_option(asio::ip::tcp::no_delay(true), error);
    stream_.socket->non_blocking(true, error);
    if (error) {
        fail(peer_.cannotConnect(ByteStreamErrorCode::ConnectFailed, error.message()));
        return;
    }
    stream_.socket->watchOver(times_.tcp);
    stream_.writer = std::make_shared<AsioStreamWriter>(core_, stream_.socket, peer_);
    if (!isUsingTLS_) {
        succeed();
        return;
    }
    stream_.writer->setObserver(weak_from_this());
    stream_.engine = std::make_shared<TLSEngine>(tls_->context, peer_.host, peer_.port);
    received_ = std::make_unique_for_overwrite<char[]>(kReadSize);
    stepHandshake({});
}

// The step is computed on the worker; the engine is the worker's until its outcome has been posted to the
// loop.
void AsioStreamOpening::stepHandshake(std::string received) {
    try {
        tls_->worker.add([engine = stream_.engine, octets = std::move(received), loop = core_,
                          weak = weak_from_this()]() mutable {
            auto progress = TLSEngine::Progress::Failed;
            std::string toSend;
            try {
                progress = engine->shakeHands(octets, toSend);
            } catch (const std::exception&) {
                // For want of memory: the connection is what fails.
            }
            engine.reset();
            if (const auto core = loop.lock()) {
                core->post([weak = std::move(weak), progress, toSend = std::move(toSend)] {
                    if (const auto self = weak.lock()) {
                        self->handshakeStepped(progress, toSend);
                    }
                });
            }
        });
    } catch (const std::system_error& error) {
        fail(peer_.cannotConnectByTLS("no thread can be started for the handshake: " +
                                      error.code().message()));
    }
}

void AsioStreamOpening::handshakeStepped(TLSEngine::Progress progress, std::string_view toSend) {
    if (!done_) {
        return;
    }
    limitHandshake();
    // Not at the end of the pass: after a failure that would be too late, and the peer is
    // to get the alert.
    stream_.writer->writeRecordsNow(toSend);
    switch (progress) {
        case TLSEngine::Progress::Done: succeed(); return;
        case TLSEngine::Progress::NeedsMore: readMore(); return;
        default: break;
    }
    fail(peer_.cannotConnectByTLS(stream_.engine->failure(), stream_.engine->isCertificateRefused()
                                                                 ? ByteStreamErrorCode::CertificateRefused
                                                                 : ByteStreamErrorCode::TLSFailed));
}

// From the first step on the time is the host's: before, the trust store may have been read.
void AsioStreamOpening::limitHandshake() {
    const auto core = core_.lock();
    if (deadline_ || !core) {
        return;
    }
    deadline_ = core->scheduleTimer(times_.handshake, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->fail(self->peer_.cannotConnectByTLS("the host did not answer the handshake in time"));
        }
    });
}

void AsioStreamOpening::readMore() {
    isReading_ = true;
    stream_.socket->hastenFirstAnswer();
    stream_.socket->async_read_some(
        asio::buffer(received_.get(), kReadSize),
        [self = shared_from_this()](const boost::system::error_code& error, std::size_t count) {
            if (const auto core = self->core_.lock()) {
                core->runThenDrain([&] { self->wasRead(error, {self->received_.get(), count}); });
            }
        });
}

void AsioStreamOpening::wasRead(const boost::system::error_code& error, std::string_view octets) {
    isReading_ = false;
    if (!done_) {
        return;
    }
    if (!error) {
        // A copy: the buffer goes with this object, which the worker does not hold.
        stepHandshake(std::string(octets));
        return;
    }
    const std::string cause = error == asio::error::eof ? "the host ended the connection" : error.message();
    fail(peer_.cannotConnectByTLS(cause + " during the handshake"));
}

// A read that is under way, or that the next step asks for, says more than a failed write, and reports the
// loss.
void AsioStreamOpening::writingDidFail() {
    const auto core = core_.lock();
    if (isReading_ || !core) {
        return;
    }
    core->post([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self && self->done_ && !self->isReading_) {
            self->fail(*self->stream_.writer->failure());
        }
    });
}

void AsioStreamOpening::succeed() {
    const auto done = std::exchange(done_, nullptr);
    // Taken out first: `release` ends what is still here.
    OpenedStream stream = std::exchange(stream_, {});
    if (stream.engine) {
        stream.writer->encryptWith(stream.engine);
    }
    release();
    done(std::move(stream));
}

void AsioStreamOpening::fail(NSError error) {
    if (const auto done = std::exchange(done_, nullptr)) {
        release();
        done(std::move(error));
    }
}

void AsioStreamOpening::cancel() {
    done_ = nullptr;
    release();
}

void AsioStreamOpening::release() {
    connector_->cancel();
    if (deadline_) {
        deadline_->invalidate();
    }
    if (stream_.writer) {
        stream_.writer->stop();
    }
    if (stream_.socket) {
        stream_.socket->end();
    }
}

}  // namespace xel
