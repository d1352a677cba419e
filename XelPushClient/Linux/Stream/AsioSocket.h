#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace xel {

/// A TCP socket of which children of the process keep no copy: theirs would hold the connection when this
/// process has gone. Thread: the loop's.
class AsioSocket final : public boost::asio::ip::tcp::socket {
public:
    using boost::asio::ip::tcp::socket::socket;
    AsioSocket(const AsioSocket&) = delete;
    AsioSocket& operator=(const AsioSocket&) = delete;
    ~AsioSocket() { end(); }

    /// Opens the socket for an endpoint's kind of address. One that cannot be opened says why when it
    /// connects.
    void openFor(const boost::asio::ip::tcp::endpoint& endpoint);

    /// Closes it in place of `close`; harmless when it is closed already.
    void end();
};

}  // namespace xel
