#pragma once

#include <memory>
#include <optional>

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

}  // namespace xel
