#include "sandbox/Ports.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include "sandbox/SandboxError.h"

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
    const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address), wanted);
    asio::ip::tcp::acceptor acceptor(context);
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
    if (error == asio::error::address_in_use) {
        throw PortTakenError(portTakenText(address, wanted, purpose));
    }
    if (error) {
        throw SandboxError("cannot listen on port " + std::to_string(wanted) + " of " + address + " for " +
                           purpose + ": " + error.message());
    }
    return acceptor.local_endpoint().port();
}

std::string portTakenText(const std::string& address, std::uint16_t port, const std::string& purpose) {
    return "port " + std::to_string(port) + " of " + address + ", wanted for " + purpose +
           ", is taken by another program; stop that program or choose another port";
}

}  // namespace xel::sandbox
