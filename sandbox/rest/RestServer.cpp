#include "sandbox/rest/RestServer.h"

#include <memory>
#include <utility>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>

#include "sandbox/process/SandboxError.h"
#include "sandbox/rest/RestSession.h"

namespace xel::sandbox {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr const char* kRestPurpose = "the REST backend (HTTPS)";

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

RestServer::RestServer(asio::io_context& loop, ProgressLog& log, const std::string& address,
                       std::uint16_t port, const ServerCertificateFiles& certificate, RestHandler handler)
    : listener_(loop, log, kRestPurpose, tcp::endpoint(asio::ip::make_address(address), port),
                [tls = std::make_shared<asio::ssl::context>(makeTlsContext(certificate)),
                 handler = std::move(handler)](tcp::socket socket) {
                    std::make_shared<RestSession>(std::move(socket), *tls, handler)->start();
                }) {}

std::uint16_t RestServer::port() const {
    return listener_.port();
}

void RestServer::close() {
    listener_.close();
}

}  // namespace xel::sandbox
