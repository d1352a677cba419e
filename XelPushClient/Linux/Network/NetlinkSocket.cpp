#include "XelPushClient/Linux/Network/NetlinkSocket.h"

#include <array>
#include <cerrno>
#include <utility>

#include <boost/asio/posix/stream_descriptor.hpp>
#include <libmnl/libmnl.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

std::optional<NetlinkSocket> NetlinkSocket::open(unsigned groups, bool blocking) {
    const int flags = SOCK_CLOEXEC | (blocking ? 0 : SOCK_NONBLOCK);
    mnl_socket* opened = nullptr;
    (void)openInThisProcess([&] {
        opened = mnl_socket_open2(NETLINK_ROUTE, flags);
        return opened != nullptr ? mnl_socket_get_fd(opened) : -1;
    });
    if (opened == nullptr) {
        return std::nullopt;
    }
    NetlinkSocket socket(opened);
    if (mnl_socket_bind(opened, groups, MNL_SOCKET_AUTOPID) < 0) {
        return std::nullopt;
    }
    return socket;
}

int NetlinkSocket::descriptor() const {
    return mnl_socket_get_fd(socket_.get());
}

void NetlinkSocket::Close::operator()(mnl_socket* socket) const {
    closeInThisProcess(mnl_socket_get_fd(socket), [&] { mnl_socket_close(socket); });
}

namespace {

constexpr unsigned kGroups =
    RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;

/// Takes everything that has arrived off the socket. What it says does not matter: the routes are read again.
/// An overrun (ENOBUFS) says the same. False when the socket is of no use any more.
bool drain(int descriptor) {
    std::array<char, 8192> buffer{};
    for (;;) {
        if (::recv(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT) > 0 || errno == EINTR ||
            errno == ENOBUFS) {
            continue;
        }
        return errno == EAGAIN || errno == EWOULDBLOCK;
    }
}

}  // namespace

class NetlinkEvents::Watch : public std::enable_shared_from_this<Watch> {
public:
    Watch(boost::asio::io_context& context, NetlinkSocket socket, std::function<void()> onChange)
        : socket_(std::move(socket)),
          descriptor_(context, socket_.descriptor()),
          onChange_(std::move(onChange)) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() { descriptor_.release(); }  // the socket closes it

    void waitForChange() {
        descriptor_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                               [weak = weak_from_this()](const boost::system::error_code& error) {
                                   const auto self = weak.lock();
                                   if (self && !error) {
                                       self->becameReadable();
                                   }
                               });
    }

private:
    void becameReadable() {
        // The next wait begins before the change is told: who is told may drop this.
        const bool isUsable = drain(socket_.descriptor());
        if (isUsable) {
            waitForChange();
        }
        onChange_();
    }

    NetlinkSocket socket_;
    boost::asio::posix::stream_descriptor descriptor_;
    std::function<void()> onChange_;
};

NetlinkEvents::NetlinkEvents(std::shared_ptr<Watch> watch) : watch_(std::move(watch)) {}

NetlinkEvents::~NetlinkEvents() = default;

std::unique_ptr<NetlinkEvents> NetlinkEvents::watch(boost::asio::io_context& context,
                                                    std::function<void()> onChange) {
    auto socket = NetlinkSocket::open(kGroups);
    if (!socket) {
        return nullptr;
    }
    auto watch = std::make_shared<Watch>(context, std::move(*socket), std::move(onChange));
    watch->waitForChange();
    return std::unique_ptr<NetlinkEvents>(new NetlinkEvents(std::move(watch)));
}

}  // namespace xel
