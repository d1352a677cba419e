#pragma once

#include <boost/asio/ip/tcp.hpp>

#include "XelPushClient/Linux/Stream/LinuxTCPOptions.h"

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

    /// Has the kernel watch over the connection. What it does not take is left as the system has it.
    void watchOver(const LinuxTCPOptions& options);

    /// Has the kernel acknowledge what arrives at once instead of up to 40 ms later, until
    /// `firstAnswerHasCome`. It goes back to that by itself, with each octet that is sent and more: call this
    /// around each read and write.
    ///
    /// A broker that gathers small packets (RFC 9293 section 3.7.4) holds the one that answers CONNECT back
    /// until what it sent before is acknowledged, which the kernel puts off: it has seen a question behind
    /// each answer and expects another.
    void hastenFirstAnswer();
    void firstAnswerHasCome() { isFirstAnswerAwaited_ = false; }

private:
    bool isFirstAnswerAwaited_ = true;
};

}  // namespace xel
