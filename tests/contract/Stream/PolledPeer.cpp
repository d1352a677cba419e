#include "tests/contract/Stream/PolledPeer.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace xel::contract {
namespace {

int listenOnLoopback(std::uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (listener < 0 || bind(listener, generic, length) != 0 || listen(listener, 4) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        throw std::runtime_error("a test cannot listen on the loopback");
    }
    port = ntohs(address.sin_port);
    return listener;
}

SSL_CTX* makeServerContext(const PolledPeer::TLS& tls) {
    SSL_CTX* const context = SSL_CTX_new(TLS_server_method());
    // Old versions are for tests of refusing them, and OpenSSL itself offers them at security level 0 only.
    SSL_CTX_set_security_level(context, 0);
    SSL_CTX_set_min_proto_version(context, TLS1_VERSION);
    SSL_CTX_set_max_proto_version(context, tls.newestVersion);
    BIO* const certificate = BIO_new_mem_buf(tls.certificate.certificate.data(), -1);
    X509* const x509 = PEM_read_bio_X509(certificate, nullptr, nullptr, nullptr);
    BIO* const keyText = BIO_new_mem_buf(tls.certificate.key.data(), -1);
    EVP_PKEY* const key = PEM_read_bio_PrivateKey(keyText, nullptr, nullptr, nullptr);
    const bool isUsable =
        SSL_CTX_use_certificate(context, x509) == 1 && SSL_CTX_use_PrivateKey(context, key) == 1;
    BIO_free(certificate);
    BIO_free(keyText);
    X509_free(x509);
    EVP_PKEY_free(key);
    if (!isUsable) {
        throw std::runtime_error("a test's certificate cannot be used");
    }
    return context;
}

}  // namespace

struct PolledPeer::Parts {
    int listener = -1;
    int connection = -1;
    std::uint16_t port = 0;
    SSL_CTX* context = nullptr;
    SSL* tls = nullptr;
    bool isHandshakeDone = false;
    bool isReading = true;
    bool isEndWanted = false;
    bool isFarewellWanted = true;
    bool hasEnded = false;
    bool sawEnd = false;
    std::string toSend;
    std::string received;
    std::string serverName;

    Parts() = default;
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;
    ~Parts() {
        SSL_free(tls);
        SSL_CTX_free(context);
        closeSocket(connection);
        closeSocket(listener);
    }

    static void closeSocket(int& socket) {
        if (socket >= 0) {
            close(socket);
        }
        socket = -1;
    }

    void acceptOne() {
        connection = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (connection >= 0 && context != nullptr) {
            tls = SSL_new(context);
            SSL_set_fd(tls, connection);
            SSL_set_accept_state(tls);
        }
    }

    void shakeHands() {
        ERR_clear_error();
        if (tls == nullptr || isHandshakeDone) {
            isHandshakeDone = true;
            return;
        }
        const int result = SSL_do_handshake(tls);
        isHandshakeDone = result == 1;
        const int error = SSL_get_error(tls, result);
        if (!isHandshakeDone && error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE) {
            sawEnd = true;
            closeSocket(connection);
            return;
        }
        if (const char* const name = SSL_get_servername(tls, TLSEXT_NAMETYPE_host_name)) {
            serverName = name;
        }
    }

    long sendSome() {
        if (tls != nullptr) {
            return SSL_write(tls, toSend.data(), static_cast<int>(toSend.size()));
        }
        return ::send(connection, toSend.data(), toSend.size(), MSG_NOSIGNAL);
    }

    void sendWhatGoes() {
        while (!toSend.empty()) {
            const long count = sendSome();
            if (count <= 0) {
                return;
            }
            toSend.erase(0, static_cast<std::size_t>(count));
        }
        if (isEndWanted && !hasEnded) {
            hasEnded = true;
            if (tls != nullptr && isFarewellWanted) {
                SSL_shutdown(tls);
            }
            shutdown(connection, SHUT_WR);
        }
    }

    void receiveWhatIsThere() {
        std::array<char, 16384> buffer{};
        for (;;) {
            const long count = tls != nullptr ? SSL_read(tls, buffer.data(), static_cast<int>(buffer.size()))
                                              : recv(connection, buffer.data(), buffer.size(), 0);
            if (count > 0) {
                received.append(buffer.data(), static_cast<std::size_t>(count));
                continue;
            }
            const bool isOnlyEmpty = tls != nullptr
                                         ? SSL_get_error(tls, static_cast<int>(count)) == SSL_ERROR_WANT_READ
                                         : count < 0 && errno == EAGAIN;
            sawEnd = sawEnd || !isOnlyEmpty;
            return;
        }
    }
};

PolledPeer::PolledPeer(std::optional<TLS> tls) : parts_(std::make_unique<Parts>()) {
    parts_->listener = listenOnLoopback(parts_->port);
    if (tls) {
        // OpenSSL writes to a socket whose other end may be gone.
        std::signal(SIGPIPE, SIG_IGN);
        parts_->context = makeServerContext(*tls);
    }
}

PolledPeer::~PolledPeer() = default;

std::uint16_t PolledPeer::port() const {
    return parts_->port;
}

void PolledPeer::poll() {
    Parts& parts = *parts_;
    if (parts.connection < 0 && !parts.sawEnd) {
        parts.acceptOne();
    }
    if (parts.connection < 0) {
        return;
    }
    parts.shakeHands();
    if (!parts.isHandshakeDone) {
        return;
    }
    parts.sendWhatGoes();
    if (parts.isReading && !parts.sawEnd) {
        parts.receiveWhatIsThere();
    }
}

void PolledPeer::send(std::string_view octets) {
    parts_->toSend += octets;
    poll();
}

void PolledPeer::end() {
    parts_->isEndWanted = true;
    poll();
}

void PolledPeer::endWithoutFarewell() {
    parts_->isFarewellWanted = false;
    end();
}

void PolledPeer::reset() {
    const linger atOnce{.l_onoff = 1, .l_linger = 0};
    setsockopt(parts_->connection, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    Parts::closeSocket(parts_->connection);
    parts_->sawEnd = true;
}

void PolledPeer::setReading(bool isReading) {
    parts_->isReading = isReading;
}
const std::string& PolledPeer::received() const {
    return parts_->received;
}
bool PolledPeer::sawEnd() const {
    return parts_->sawEnd;
}
bool PolledPeer::isConnected() const {
    return parts_->connection >= 0 && parts_->isHandshakeDone;
}
std::string PolledPeer::serverName() const {
    return parts_->serverName;
}

std::uint16_t closedLoopbackPort() {
    std::uint16_t port = 0;
    close(listenOnLoopback(port));
    return port;
}

}  // namespace xel::contract
