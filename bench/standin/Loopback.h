#pragma once

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace xel::bench {

/// The result of a system call; throws std::system_error where that is a failure.
inline int checked(int result, const char* what) {
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/// Binds a socket to 127.0.0.1, port 0 to a free one, and listens. Answers the port.
inline std::uint16_t listenOnLoopback(int listener, std::uint16_t port, int backlog) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    checked(bind(listener, generic, size), "bind");
    checked(::listen(listener, backlog), "listen");
    checked(getsockname(listener, generic, &size), "getsockname");
    return ntohs(address.sin_port);
}

}  // namespace xel::bench
