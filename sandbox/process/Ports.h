#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace xel::sandbox {

/// Throws SandboxError unless `address` is a numeric address of the loopback interface.
void requireLoopback(const std::string& address);

/// The port to listen on: `wanted` when it is free, or a free one of the system's choice when `wanted` is 0.
/// Throws PortTakenError, naming the port and its `purpose`, when another program has it, SandboxError when
/// this user may not have it. Nothing reserves the port afterwards.
std::uint16_t claimPort(const std::string& address, std::uint16_t wanted, const std::string& purpose);

/// Opens the acceptor at the endpoint and listens; port 0 means a free one. Throws as claimPort does.
void listenAt(boost::asio::ip::tcp::acceptor& acceptor, const boost::asio::ip::tcp::endpoint& endpoint,
              const std::string& purpose);

class ProgressLog;

/// Listens at a TCP endpoint and hands over each connection. When none can be taken, it says so in the log
/// and tries again after a second.
///
/// Runs on the thread of `loop`; `onSocket` is called there. To be closed, or dropped, on that thread, or
/// when the loop does not run.
class ConnectionListener {
public:
    using OnSocket = std::function<void(boost::asio::ip::tcp::socket socket)>;

    /// Listens at once; port 0 means a free one. `purpose` says in errors and in the log what the port is
    /// for. Throws PortTakenError or SandboxError.
    ConnectionListener(boost::asio::io_context& loop, ProgressLog& log, std::string purpose,
                       const boost::asio::ip::tcp::endpoint& endpoint, OnSocket onSocket);
    ~ConnectionListener();
    ConnectionListener(const ConnectionListener&) = delete;
    ConnectionListener& operator=(const ConnectionListener&) = delete;

    [[nodiscard]] std::uint16_t port() const;

    /// Takes no further connection.
    void close();

private:
    class Acceptance;

    std::shared_ptr<Acceptance> acceptance_;
};

}  // namespace xel::sandbox
