#pragma once

#include <functional>
#include <memory>
#include <optional>

#include <boost/asio/io_context.hpp>

struct mnl_socket;

namespace xel {

/// One rtnetlink socket (rtnetlink(7)), closed when dropped and never inherited by a child.
class NetlinkSocket {
public:
    /// Bound to the multicast groups (`RTMGRP_...` bits; 0: for requests only). None when the system refuses.
    [[nodiscard]] static std::optional<NetlinkSocket> open(unsigned groups, bool blocking = true);

    [[nodiscard]] const mnl_socket* get() const { return socket_.get(); }
    [[nodiscard]] int descriptor() const;

private:
    struct Close {
        void operator()(mnl_socket* socket) const;
    };

    explicit NetlinkSocket(mnl_socket* socket) : socket_(socket) {}

    std::unique_ptr<mnl_socket, Close> socket_;
};

/// Hears that the kernel's links, addresses or routes changed (rtnetlink(7)).
///
/// Thread: the one that runs the context. Dropping it ends the watch; the context outlives it.
class NetlinkEvents {
public:
    /// `onChange` is called on the context, once for any number of changes that are read together. It may
    /// drop this object. None when the system has no such events for this process.
    [[nodiscard]] static std::unique_ptr<NetlinkEvents> watch(boost::asio::io_context& context,
                                                              std::function<void()> onChange);
    ~NetlinkEvents();
    NetlinkEvents(const NetlinkEvents&) = delete;
    NetlinkEvents& operator=(const NetlinkEvents&) = delete;

private:
    class Watch;

    explicit NetlinkEvents(std::shared_ptr<Watch> watch);

    std::shared_ptr<Watch> watch_;
};

}  // namespace xel
