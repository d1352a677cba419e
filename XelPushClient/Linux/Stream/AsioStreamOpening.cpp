#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <boost/asio/error.hpp>

#include "XelPushClient/Linux/Stream/AsioStreamConnection.h"
#include "XelPushClient/Linux/Stream/TCPSocket.h"
#include "XelPushClient/Linux/Stream/TLSErrors.h"

// The opening half of a stream's works: name, connection and TLS handshake.

namespace xel {

using boost::asio::ip::tcp;

void AsioStreamConnection::open(std::string_view host, std::uint16_t port, bool usingTLS) {
    if (phase_ != Phase::New) {
        throw std::logic_error("a byte stream was opened twice");
    }
    phase_ = Phase::Connecting;
    host_ = host;
    port_ = port;
    isUsingTLS_ = usingTLS;
    if (usingTLS) {
        readTrustStoreAhead();
    }
    connector_ = std::make_shared<AsioConnector>(core_, context_, times_.connect);
    connector_->start(host_, port, [weak = weak_from_this()](Result<std::shared_ptr<AsioSocket>> outcome) {
        const auto self = weak.lock();
        if (!self || self->phase_ != Phase::Connecting) {
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
void AsioStreamConnection::readTrustStoreAhead() {
    try {
        tls_->worker.add([context = tls_->context] { (void)context->native().isOk(); });
    } catch (const std::system_error&) {
        // There is no thread to be had now; the handshake asks for one again.
    }
}

std::string AsioStreamConnection::describeProgress() const {
    switch (phase_) {
        case Phase::Connecting: return connector_->describeProgress();
        case Phase::ShakingHands: return "the TLS handshake is not done";
        default: return {};
    }
}

void AsioStreamConnection::wasConnected(std::shared_ptr<AsioSocket> socket) {
    connector_.reset();
    socket_ = std::move(socket);
    boost::system::error_code error;
    socket_->set_option(tcp::no_delay(true), error);
    socket_->non_blocking(true, error);
    if (error) {
        fail(streamError(ByteStreamErrorCode::ConnectFailed,
                         "cannot connect to " + hostAndPort() + ": " + error.message()));
        return;
    }
    watchOver(socket_->native_handle(), times_.tcp);
    received_ = std::make_unique_for_overwrite<char[]>(kReadSize);
    if (!isUsingTLS_) {
        becomeOpen();
        return;
    }
    decrypted_ = std::make_unique_for_overwrite<char[]>(kReadSize);
    engine_ = std::make_shared<TLSEngine>(tls_->context, host_);
    phase_ = Phase::ShakingHands;
    stepHandshake({});
}

void AsioStreamConnection::stepHandshake(std::string received) {
    try {
        computeHandshakeStep(*tls_, engine_, std::move(received), core_,
                             [weak = weak_from_this()](const HandshakeStep& step) {
                                 if (const auto self = weak.lock()) {
                                     self->handshakeStepped(step);
                                 }
                             });
    } catch (const std::system_error& error) {
        fail(tlsError("cannot connect to " + hostAndPort() +
                      " by TLS: no thread can be started for the handshake: " + error.code().message()));
    }
}

void AsioStreamConnection::handshakeStepped(const HandshakeStep& step) {
    if (phase_ != Phase::ShakingHands) {
        return;
    }
    if (!deadline_) {
        // From here on the time is the host's: before, the trust store may have been read.
        setDeadline(times_.handshake, &AsioStreamConnection::handshakeTookTooLong);
    }
    outgoing_ += step.toSend;
    flush();
    if (phase_ != Phase::ShakingHands) {
        return;
    }
    switch (step.progress) {
        case TLSEngine::Progress::Done: becomeOpen(); return;
        case TLSEngine::Progress::NeedsMore: startRead(); return;
        default: break;
    }
    const bool isRefused = engine_->isCertificateRefused();
    fail(streamError(isRefused ? ByteStreamErrorCode::CertificateRefused : ByteStreamErrorCode::TLSFailed,
                     "cannot connect to " + hostAndPort() + " by TLS: " + engine_->failure()));
}

/// A broker that gathers small packets (RFC 9293 section 3.7.4) holds the one that answers CONNECT back until
/// what it sent before is acknowledged, which the kernel puts off: it has seen a question behind each answer
/// and expects another. Renewed around each read and write, until the broker's first octets have come.
void AsioStreamConnection::hastenFirstAnswer() {
    if (isFirstAnswerAwaited_) {
        acknowledgeAtOnce(socket_->native_handle());
    }
}

void AsioStreamConnection::becomeOpen() {
    if (deadline_) {
        deadline_->invalidate();
    }
    phase_ = Phase::Open;
    observer_->streamDidOpen();
}

}  // namespace xel
