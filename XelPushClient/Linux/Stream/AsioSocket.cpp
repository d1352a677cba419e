#include "XelPushClient/Linux/Stream/AsioSocket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

namespace {

void setNumber(int socket, int level, int name, long long value) {
    const int number = static_cast<int>(value);
    (void)::setsockopt(socket, level, name, &number, sizeof number);
}

}  // namespace

void AsioSocket::openFor(const boost::asio::ip::tcp::endpoint& endpoint) {
    (void)openInThisProcess([&] {
        boost::system::error_code error;
        open(endpoint.protocol(), error);
        if (error) {
            return -1;
        }
        // posix_spawn(3) asks nobody before it forks: a program that the host starts so would hold the
        // connection.
        (void)::fcntl(native_handle(), F_SETFD, FD_CLOEXEC);
        return native_handle();
    });
}

void AsioSocket::end() {
    if (is_open()) {
        closeInThisProcess(native_handle(), [this] {
            boost::system::error_code ignored;
            close(ignored);
        });
    }
}

void AsioSocket::watchOver(const LinuxTCPOptions& options) {
    const int socket = native_handle();
    if (options.keepAliveIdle.count() > 0) {
        setNumber(socket, IPPROTO_TCP, TCP_KEEPIDLE, options.keepAliveIdle.count());
        setNumber(socket, IPPROTO_TCP, TCP_KEEPINTVL, options.keepAliveInterval.count());
        setNumber(socket, IPPROTO_TCP, TCP_KEEPCNT, options.keepAliveProbes);
        setNumber(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    }
    // Where it is given, this and not the number of probes decides when a connection without an answer
    // ends (tcp(7)).
    setNumber(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, options.userTimeout.count());
}

void AsioSocket::hastenFirstAnswer() {
    if (isFirstAnswerAwaited_) {
        setNumber(native_handle(), IPPROTO_TCP, TCP_QUICKACK, 1);
    }
}

}  // namespace xel
