#include "sandbox/process/Ports.h"

#include <boost/asio/io_context.hpp>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {

namespace asio = boost::asio;

void requireLoopback(const std::string& address) {
    boost::system::error_code error;
    const asio::ip::address parsed = asio::ip::make_address(address, error);
    if (error || !parsed.is_loopback()) {
        throw SandboxError("'" + address + "' is not a loopback address: the local push service listens on " +
                           "127.0.0.1 or ::1 only");
    }
}

std::uint16_t claimPort(const std::string& address, std::uint16_t wanted, const std::string& purpose) {
    asio::io_context context;
    asio::ip::tcp::acceptor acceptor(context);
    listenAt(acceptor, {asio::ip::make_address(address), wanted}, purpose);
    return acceptor.local_endpoint().port();
}

void listenAt(asio::ip::tcp::acceptor& acceptor, const asio::ip::tcp::endpoint& endpoint,
              const std::string& purpose) {
    boost::system::error_code error;
    acceptor.open(endpoint.protocol(), error);
    if (!error) {
        // As the broker does: a port whose last connections are only fading out counts as free.
        acceptor.set_option(asio::socket_base::reuse_address(true), error);
    }
    if (!error) {
        acceptor.bind(endpoint, error);
    }
    if (!error) {
        acceptor.listen(asio::socket_base::max_listen_connections, error);
    }
    const std::string port = std::to_string(endpoint.port()) + " of " + endpoint.address().to_string();
    if (error == asio::error::address_in_use) {
        throw PortTakenError("port " + port + ", wanted for " + purpose +
                             ", is taken by another program; stop that program or choose another port");
    }
    if (error) {
        throw SandboxError("cannot listen on port " + port + " for " + purpose + ": " + error.message());
    }
}

}  // namespace xel::sandbox
