#pragma once

#include <cstdint>
#include <string>

namespace xel {

/// Where the service lives: hosts and ports of the production and the sandbox environment.
///
/// They are settings of a deployment. The sandbox ones default to the local push service. The REST addresses
/// whose names say SSL begin with "https://"; a client on others is not made.
struct Endpoints {
    std::string kBrokerAddress = "push.xelpush.example";
    std::string kLoopBackAddress = "http://push.xelpush.example/api";
    /// "%@" takes the application's REST host.
    std::string kLoopBackSSLAddress = "https://%@/api";
    std::string kBrokerLocalAddress = "localhost";
    std::string kLoopBackLocalAddress = "http://localhost:8080/api";
    std::string kLoopBackLocalSSLAddress = "https://localhost:8443/api";
    std::uint16_t kBrokerPort = 1880;
    std::uint16_t kBrokerSSLPort = 4443;
    std::uint16_t kBrokerLocalPort = 1880;
    std::uint16_t kBrokerLocalSSLPort = 4443;
};

}  // namespace xel
