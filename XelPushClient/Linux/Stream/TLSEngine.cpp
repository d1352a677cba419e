#include "XelPushClient/Linux/Stream/TLSEngine.h"

#include <utility>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include "XelPushClient/Linux/Stream/StreamErrors.h"

namespace xel {

void TLSEngine::Free::operator()(ssl_st* connection) const {
    SSL_free(connection);
}

TLSEngine::TLSEngine(std::shared_ptr<TLSContext> context, std::string host, std::uint16_t port)
    : context_(std::move(context)), host_(std::move(host)) {
    // The dot that ends a full name is no part of it in a certificate, nor in a server name (RFC 6066 section
    // 3).
    if (host_.size() > 1 && host_.back() == '.') {
        host_.pop_back();
    }
    peer_ = host_ + ":" + std::to_string(port);
}

TLSEngine::~TLSEngine() = default;

bool TLSEngine::setUp() {
    const auto context = context_->native();
    if (!context) {
        fail(context.error().localizedDescription());
        return false;
    }
    connection_.reset(SSL_new(context.value()));
    BIO* const wire = connection_ ? wire_.makeBIO() : nullptr;
    if (wire == nullptr) {
        connection_.reset();
        fail("there is not enough memory for a TLS connection");
        return false;
    }
    SSL_set_bio(connection_.get(), wire, wire);
    SSL_set_connect_state(connection_.get());

    if (!expectHost(connection_.get(), host_)) {
        connection_.reset();
        fail("the host's name cannot be verified");
        return false;
    }
    keepSessionsOf(connection_.get(), peer_);
    goOnWithEarlierSession();
    return true;
}

// Taken away from the others: where going on with it fails, the next attempt begins anew.
void TLSEngine::goOnWithEarlierSession() {
    if (const auto session = context_->sessions().take(peer_)) {
        (void)SSL_set_session(connection_.get(), session.get());
    }
}

TLSEngine::Progress TLSEngine::shakeHands(std::string_view received, std::string& toSend) {
    // Here and in each call below: what somebody else left in this thread's queue of errors would be
    // taken for this connection's failure (SSL_get_error(3)).
    ERR_clear_error();
    if (!connection_ && !setUp()) {
        return Progress::Failed;
    }
    take(received);
    const TLSWire::Sending sending(wire_, toSend);
    const int result = SSL_do_handshake(connection_.get());
    const int error = SSL_get_error(connection_.get(), result);
    if (result == 1) {
        // TLS 1.2 goes on with the same session as often as the host likes, and need not give another.
        if (SSL_session_reused(connection_.get()) == 1 && SSL_version(connection_.get()) < TLS1_3_VERSION) {
            context_->sessions().keep(peer_, SSL_get0_session(connection_.get()));
        }
        return Progress::Done;
    }
    if (error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE) {
        return Progress::NeedsMore;
    }
    const long verified = SSL_get_verify_result(connection_.get());
    isCertificateRefused_ = verified != X509_V_OK;
    return fail(isCertificateRefused_ ? describeRefusedCertificate(verified) : describeFailedHandshake());
}

void TLSEngine::take(std::string_view received) {
    if (!received.empty()) {
        wire_.offer(received);
        mayHoldMore_ = true;
    }
}

TLSEngine::Progress TLSEngine::decrypt(std::span<char> buffer, std::size_t& count, std::string& toSend) {
    ERR_clear_error();
    count = 0;
    int error = SSL_ERROR_NONE;
    // Reading may answer the peer, when it renews its keys (RFC 8446 section 4.6.3).
    const TLSWire::Sending sending(wire_, toSend);
    // One call reads one record at most (SSL_read(3)). Records that came together are delivered
    // together; an end or an error behind them is met again by the next call.
    while (count < buffer.size()) {
        std::size_t part = 0;
        const int result =
            SSL_read_ex(connection_.get(), buffer.data() + count, buffer.size() - count, &part);
        if (result != 1) {
            error = SSL_get_error(connection_.get(), result);
            break;
        }
        count += part;
    }
    mayHoldMore_ = error != SSL_ERROR_WANT_READ;
    if (!mayHoldMore_) {
        // Also the buffer that was last written from, which the mode leaves (SSL_MODE_RELEASE_BUFFERS).
        (void)SSL_free_buffers(connection_.get());
    }
    if (count > 0) {
        return Progress::Done;
    }
    switch (error) {
        case SSL_ERROR_WANT_READ:
        case SSL_ERROR_WANT_WRITE: return Progress::NeedsMore;
        case SSL_ERROR_ZERO_RETURN: return Progress::Ended;
        default: return fail("what it sent breaks the rules of TLS (" + describeOpenSSLErrors() + ")");
    }
}

bool TLSEngine::encrypt(std::string_view octets, std::string& toSend) {
    ERR_clear_error();
    const TLSWire::Sending sending(wire_, toSend);
    while (!octets.empty()) {
        std::size_t written = 0;
        if (SSL_write_ex(connection_.get(), octets.data(), octets.size(), &written) != 1) {
            fail("TLS could not send (" + describeOpenSSLErrors() + ")");
            return false;
        }
        octets.remove_prefix(written);
    }
    (void)SSL_free_buffers(connection_.get());
    return true;
}

void TLSEngine::end(std::string& toSend) {
    ERR_clear_error();
    const TLSWire::Sending sending(wire_, toSend);
    (void)SSL_shutdown(connection_.get());
    ERR_clear_error();
}

TLSEngine::Progress TLSEngine::fail(std::string why) {
    if (failure_.empty()) {
        failure_ = std::move(why);
    }
    return Progress::Failed;
}

}  // namespace xel
