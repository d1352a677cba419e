#include "XelPushClient/Linux/Stream/TCPSocket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace xel {

namespace {

void setNumber(int socket, int level, int name, long long value) {
    const int number = static_cast<int>(value);
    (void)::setsockopt(socket, level, name, &number, sizeof number);
}

}  // namespace

void watchOver(int socket, const LinuxTCPOptions& options) {
    if (options.keepAliveIdle.count() > 0) {
        setNumber(socket, IPPROTO_TCP, TCP_KEEPIDLE, options.keepAliveIdle.count());
        setNumber(socket, IPPROTO_TCP, TCP_KEEPINTVL, options.keepAliveInterval.count());
        setNumber(socket, IPPROTO_TCP, TCP_KEEPCNT, options.keepAliveProbes);
        setNumber(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    }
    setNumber(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, options.userTimeout.count());
}

void acknowledgeAtOnce(int socket) {
    setNumber(socket, IPPROTO_TCP, TCP_QUICKACK, 1);
}

}  // namespace xel
