#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/system/error_code.hpp>

#include "XelPushClient/Linux/Stream/LinuxTCPOptions.h"
#include "XelPushClient/Linux/Stream/ReadableWait.h"

namespace xel {

/// What one read brought.
struct SocketRead {
    std::size_t count = 0;
    /// With `count` 0 only: the end of the stream (`eof`), or why nothing can be read any more.
    boost::system::error_code error;
    /// Whether the next read may bring something without anything new arriving.
    bool isMoreLeft = false;
};

/// A TCP socket of which children of the process keep no copy: theirs would hold the connection when this
/// process has gone. Thread: the loop's.
class AsioSocket final : public boost::asio::ip::tcp::socket {
public:
    explicit AsioSocket(boost::asio::io_context& context)
        : boost::asio::ip::tcp::socket(context), readableWait_(context) {}
    AsioSocket(const AsioSocket&) = delete;
    AsioSocket& operator=(const AsioSocket&) = delete;
    ~AsioSocket() { end(); }

    /// Opens the socket for an endpoint's kind of address, or says why it cannot be.
    [[nodiscard]] boost::system::error_code openFor(const boost::asio::ip::tcp::endpoint& endpoint);

    /// Closes it in place of `close`; harmless when it is closed already.
    void end();

    /// Has the kernel watch over the connection. What it does not take is left as the system has it.
    void watchOver(const LinuxTCPOptions& options);

    /// Reads what is there, as far as the buffer goes, and never waits. Nothing at all, and no error, means
    /// that nothing has arrived.
    [[nodiscard]] SocketRead readSome(std::span<char> buffer);
    /// Waits until there may be something to read; see `ReadableWait`. After a read that leaves nothing.
    void awaitReadable(std::shared_ptr<ReadableObserver> observer);
    /// Whether a read would bring something, an end or an error included. Takes nothing away.
    [[nodiscard]] bool isReadable();

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
    enum class Rest { NotAskedFor, IsTold, IsUnknown };

    ReadableWait readableWait_;
    Rest rest_ = Rest::NotAskedFor;
    bool isFirstAnswerAwaited_ = true;
};

}  // namespace xel
