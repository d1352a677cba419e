#include "tools/doctor/ProbeSocket.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

namespace xel::tools {

namespace {

std::string describe(int number) {
    return std::generic_category().message(number);
}

std::string numericText(const addrinfo& entry) {
    std::array<char, NI_MAXHOST> text{};
    const int outcome = ::getnameinfo(entry.ai_addr, entry.ai_addrlen, text.data(),
                                      static_cast<socklen_t>(text.size()), nullptr, 0, NI_NUMERICHOST);
    return outcome == 0 ? text.data() : "?";
}

}  // namespace

std::vector<HostAddress> lookUp(const std::string& host, std::uint16_t port, std::string& reason) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int outcome = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &wanted, &found);
    std::vector<HostAddress> addresses;
    if (outcome != 0) {
        reason = outcome == EAI_SYSTEM ? describe(errno) : ::gai_strerror(outcome);
        return addresses;
    }
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        HostAddress address;
        std::memcpy(&address.address, entry->ai_addr, entry->ai_addrlen);
        address.length = entry->ai_addrlen;
        address.text = numericText(*entry);
        addresses.push_back(std::move(address));
    }
    ::freeaddrinfo(found);
    return addresses;
}

ProbeSocket::~ProbeSocket() {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

std::string ProbeSocket::connect(const HostAddress& address, std::chrono::milliseconds patience) {
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
    descriptor_ = ::socket(address.address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (descriptor_ < 0) {
        return describe(errno);
    }
    if (::connect(descriptor_, reinterpret_cast<const sockaddr*>(&address.address), address.length) != 0) {
        if (errno != EINPROGRESS) {
            return describe(errno);
        }
        pollfd wait{descriptor_, POLLOUT, 0};
        const int ready = ::poll(&wait, 1, static_cast<int>(patience.count()));
        if (ready <= 0) {
            return ready == 0 ? "no answer in time" : describe(errno);
        }
        int failure = 0;
        socklen_t length = sizeof failure;
        ::getsockopt(descriptor_, SOL_SOCKET, SO_ERROR, &failure, &length);
        if (failure != 0) {
            return describe(failure);
        }
    }
    // From here on it blocks, for no longer than the patience at a time.
    ::fcntl(descriptor_, F_SETFL, ::fcntl(descriptor_, F_GETFL) & ~O_NONBLOCK);
    const timeval limit{static_cast<time_t>(patience.count() / 1000),
                        static_cast<suseconds_t>(patience.count() % 1000 * 1000)};
    ::setsockopt(descriptor_, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    return {};
}

}  // namespace xel::tools
