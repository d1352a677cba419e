#pragma once

#include <memory>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>  // whose sockets bring the reactor's header, which does not stand alone

namespace xel {

/// Who reads from a socket.
class ReadableObserver {
public:
    virtual ~ReadableObserver() = default;
    /// There may be something to read: octets, an end or an error. In a handler of the context.
    virtual void mayBeReadable() = 0;
};

/// The wait until a socket may be read from, which costs no system call of its own: the wait for events that
/// the loop makes anyway ends it.
///
/// The kernel tells of what arrives, and not of what lies there: a wait may only follow a read that leaves
/// nothing. Whatever arrives behind that read ends the wait, also what arrives before the wait begins. A
/// connection that broke before that read does not (`AsioSocket::isReadable` tells).
///
/// Asio's own wait asks the kernel to tell once more, and its read tries to read first, which is a call for
/// each message in either case. So this is an operation of Asio's reactor, below what Asio promises to keep
/// as it is. Owner: the socket. Thread: the loop's.
class ReadableWait {
public:
    using DescriptorData = boost::asio::detail::reactor::per_descriptor_data;

    explicit ReadableWait(boost::asio::io_context& context);
    ~ReadableWait();
    ReadableWait(const ReadableWait&) = delete;
    ReadableWait& operator=(const ReadableWait&) = delete;

    /// Tells the observer once, never inside this call, and holds it until then; when the socket is closed it
    /// is let go without a word. Harmless while a wait is under way. The data are Asio's of that descriptor.
    void start(int descriptor, DescriptorData& data, std::shared_ptr<ReadableObserver> observer);

private:
    class Operation;

    boost::asio::io_context& context_;
    std::shared_ptr<Operation> operation_;
};

}  // namespace xel
