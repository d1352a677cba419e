#pragma once

#include <cstdint>
#include <string>

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

}  // namespace xel::sandbox
