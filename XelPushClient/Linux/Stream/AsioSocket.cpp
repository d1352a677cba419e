#include "XelPushClient/Linux/Stream/AsioSocket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <boost/asio/error.hpp>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "XelPushClient/Linux/Process/ForkedChildren.h"

namespace xel {

namespace {

bool setNumber(int socket, int level, int name, long long value) {
    const int number = static_cast<int>(value);
    return ::setsockopt(socket, level, name, &number, sizeof number) == 0;
}

/// Whether something is left behind a read that brought octets, where the kernel tells.
bool isMoreLeftBehind(const msghdr& message) {
    const cmsghdr* const told = CMSG_FIRSTHDR(&message);
    if (told == nullptr || told->cmsg_level != SOL_TCP || told->cmsg_type != TCP_CM_INQ) {
        return true;
    }
    int octets = 0;
    std::memcpy(&octets, CMSG_DATA(told), sizeof octets);
    return octets != 0;
}

}  // namespace

boost::system::error_code AsioSocket::openFor(const boost::asio::ip::tcp::endpoint& endpoint) {
    boost::system::error_code error;
    (void)openInThisProcess([&] {
        open(endpoint.protocol(), error);
        if (error) {
            return -1;
        }
        // posix_spawn(3) asks nobody before it forks: a program that the host starts so would hold the
        // connection.
        (void)::fcntl(native_handle(), F_SETFD, FD_CLOEXEC);
        return native_handle();
    });
    return error;
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
        (void)setNumber(socket, IPPROTO_TCP, TCP_KEEPIDLE, options.keepAliveIdle.count());
        (void)setNumber(socket, IPPROTO_TCP, TCP_KEEPINTVL, options.keepAliveInterval.count());
        (void)setNumber(socket, IPPROTO_TCP, TCP_KEEPCNT, options.keepAliveProbes);
        (void)setNumber(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    }
    // Where it is given, this and not the number of probes decides when a connection without an answer
    // ends (tcp(7)).
    (void)setNumber(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, options.userTimeout.count());
}

SocketRead AsioSocket::readSome(std::span<char> buffer) {
    if (rest_ == Rest::NotAskedFor) {
        // An end counts as an octet that is left, so that one that came together with octets is seen too.
        rest_ = setNumber(native_handle(), SOL_TCP, TCP_INQ, 1) ? Rest::IsTold : Rest::IsUnknown;
    }
    iovec part{buffer.data(), buffer.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> told{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    if (rest_ == Rest::IsTold) {
        message.msg_control = told.data();
        message.msg_controllen = told.size();
    }
    ssize_t count = -1;
    do {
        count = ::recvmsg(native_handle(), &message, MSG_DONTWAIT);
    } while (count < 0 && errno == EINTR);
    if (count > 0) {
        return {static_cast<std::size_t>(count), {}, isMoreLeftBehind(message)};
    }
    if (count == 0) {
        return {0, boost::asio::error::eof, true};
    }
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
        return {};
    }
    return {0, boost::system::error_code(errno, boost::system::system_category()), true};
}

void AsioSocket::awaitReadable(std::shared_ptr<ReadableObserver> observer) {
    readableWait_.start(native_handle(), impl_.get_implementation().reactor_data_, std::move(observer));
}

bool AsioSocket::isReadable() {
    pollfd asked{native_handle(), POLLIN, 0};
    return ::poll(&asked, 1, 0) > 0;
}

void AsioSocket::hastenFirstAnswer() {
    if (isFirstAnswerAwaited_) {
        (void)setNumber(native_handle(), IPPROTO_TCP, TCP_QUICKACK, 1);
    }
}

}  // namespace xel
