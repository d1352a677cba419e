#include "XelPushClient/Linux/Network/NetlinkSocket.h"

#include <libmnl/libmnl.h>
#include <linux/netlink.h>
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

}  // namespace xel
