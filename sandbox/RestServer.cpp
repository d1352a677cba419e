#include "sandbox/RestServer.h"

#include <chrono>
#include <string_view>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "sandbox/Ports.h"
#include "sandbox/ProgressLog.h"
#include "sandbox/RestSession.h"
#include "sandbox/SandboxError.h"

namespace xel::sandbox {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr std::string_view kPurpose = "the REST backend (HTTPS)";

asio::ssl::context makeTlsContext(const ServerCertificateFiles& certificate) {
    asio::ssl::context context(asio::ssl::context::tls_server);
    SSL_CTX_set_min_proto_version(context.native_handle(), TLS1_2_VERSION);
    error_code error;
    context.use_certificate_chain_file(certificate.certificate.string(), error);
    if (!error) {
        context.use_private_key_file(certificate.privateKey.string(), asio::ssl::context::pem, error);
    }
    if (error) {
        throw SandboxError("cannot use the server certificate '" + certificate.certificate.string() +
                           "': " + error.message());
    }
    return context;
}

}  // namespace

class RestServer::Listener : public std::enable_shared_from_this<Listener> {
public:
    Listener(asio::io_context& loop, ProgressLog& log, const ServerCertificateFiles& certificate,
             RestHandler handler)
        : log_(log),
          tls_(makeTlsContext(certificate)),
          acceptor_(loop),
          retry_(loop),
          handler_(std::move(handler)) {}

    void listen(const tcp::endpoint& endpoint) {
        error_code error;
        acceptor_.open(endpoint.protocol(), error);
        if (!error) {
            acceptor_.set_option(asio::socket_base::reuse_address(true), error);
        }
        if (!error) {
            acceptor_.bind(endpoint, error);
        }
        if (!error) {
            acceptor_.listen(asio::socket_base::max_listen_connections, error);
        }
        if (error == asio::error::address_in_use) {
            throw PortTakenError(
                portTakenText(endpoint.address().to_string(), endpoint.port(), std::string(kPurpose)));
        }
        if (error) {
            throw SandboxError("cannot listen on port " + std::to_string(endpoint.port()) + " for " +
                               std::string(kPurpose) + ": " + error.message());
        }
        port_ = acceptor_.local_endpoint().port();
        accept();
    }

    [[nodiscard]] std::uint16_t port() const { return port_; }

    void close() {
        closed_ = true;
        error_code ignored;
        acceptor_.close(ignored);
        retry_.cancel();
    }

private:
    void accept() {
        acceptor_.async_accept([self = shared_from_this()](error_code error, tcp::socket socket) {
            if (self->closed_) {
                return;
            }
            if (error) {
                self->acceptLater(error);
                return;
            }
            std::make_shared<RestSession>(std::move(socket), self->tls_, self->handler_)->start();
            self->accept();
        });
    }

    // Out of descriptors, most likely: trying again at once would only spin.
    void acceptLater(error_code error) {
        log_.write("the REST backend cannot take a connection: " + error.message());
        retry_.expires_after(std::chrono::seconds(1));
        retry_.async_wait([self = shared_from_this()](error_code waitError) {
            if (!waitError && !self->closed_) {
                self->accept();
            }
        });
    }

    ProgressLog& log_;
    asio::ssl::context tls_;
    tcp::acceptor acceptor_;
    asio::steady_timer retry_;
    RestHandler handler_;
    std::uint16_t port_{0};
    bool closed_{false};
};

RestServer::RestServer(asio::io_context& loop, ProgressLog& log, const std::string& address,
                       std::uint16_t port, const ServerCertificateFiles& certificate, RestHandler handler)
    : listener_(std::make_shared<Listener>(loop, log, certificate, std::move(handler))) {
    listener_->listen(tcp::endpoint(asio::ip::make_address(address), port));
}

RestServer::~RestServer() = default;

std::uint16_t RestServer::port() const {
    return listener_->port();
}

void RestServer::close() {
    listener_->close();
}

}  // namespace xel::sandbox
