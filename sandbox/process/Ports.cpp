#include "sandbox/process/Ports.h"

#include <chrono>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "sandbox/process/ProgressLog.h"
#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

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

// Kept by its pending operations.
class ConnectionListener::Acceptance : public std::enable_shared_from_this<Acceptance> {
public:
    Acceptance(asio::io_context& loop, ProgressLog& log, std::string purpose, OnSocket onSocket)
        : log_(log),
          purpose_(std::move(purpose)),
          acceptor_(loop),
          retry_(loop),
          onSocket_(std::move(onSocket)) {}

    void listen(const tcp::endpoint& endpoint) {
        listenAt(acceptor_, endpoint, purpose_);
        port_ = acceptor_.local_endpoint().port();
        accept();
    }

    [[nodiscard]] std::uint16_t port() const { return port_; }

    void close() {
        isClosed_ = true;
        error_code ignored;
        acceptor_.close(ignored);
        retry_.cancel();
    }

private:
    void accept() {
        acceptor_.async_accept([self = shared_from_this()](error_code error, tcp::socket socket) {
            if (self->isClosed_) {
                return;
            }
            if (error) {
                self->acceptLater(error);
                return;
            }
            self->onSocket_(std::move(socket));
            self->accept();
        });
    }

    // Out of descriptors, most likely: trying again at once would only spin.
    void acceptLater(error_code error) {
        log_.write(purpose_ + " cannot take a connection: " + error.message());
        retry_.expires_after(std::chrono::seconds(1));
        retry_.async_wait([self = shared_from_this()](error_code waitError) {
            if (!waitError && !self->isClosed_) {
                self->accept();
            }
        });
    }

    ProgressLog& log_;
    const std::string purpose_;
    tcp::acceptor acceptor_;
    asio::steady_timer retry_;
    OnSocket onSocket_;
    std::uint16_t port_{0};
    bool isClosed_{false};
};

ConnectionListener::ConnectionListener(asio::io_context& loop, ProgressLog& log, std::string purpose,
                                       const tcp::endpoint& endpoint, OnSocket onSocket)
    : acceptance_(std::make_shared<Acceptance>(loop, log, std::move(purpose), std::move(onSocket))) {
    acceptance_->listen(endpoint);
}

ConnectionListener::~ConnectionListener() {
    close();
}

std::uint16_t ConnectionListener::port() const {
    return acceptance_->port();
}

void ConnectionListener::close() {
    acceptance_->close();
}

}  // namespace xel::sandbox
