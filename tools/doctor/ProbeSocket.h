#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/socket.h>

namespace xel::tools {

/// One address of a host.
struct HostAddress {
    sockaddr_storage address{};
    socklen_t length = 0;
    std::string text{};  ///< numeric
};

/// The addresses that the machine's resolver knows for the host (getaddrinfo), with the port. Empty, with the
/// reason, when there is none.
[[nodiscard]] std::vector<HostAddress> lookUp(const std::string& host, std::uint16_t port,
                                              std::string& reason);

/// A blocking TCP connection whose operations each give up after some time.
class ProbeSocket {
public:
    ProbeSocket() = default;
    ~ProbeSocket();
    ProbeSocket(const ProbeSocket&) = delete;
    ProbeSocket& operator=(const ProbeSocket&) = delete;

    /// Empty after success; otherwise why there is no connection.
    [[nodiscard]] std::string connect(const HostAddress& address, std::chrono::milliseconds patience);

    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    int descriptor_ = -1;
};

}  // namespace xel::tools
