#pragma once

#include <cstdint>
#include <string>

namespace xel {

/// Where the service lives: hosts and ports of the production and the sandbox environment.
///
/// They depend on the deployment; the sandbox ones default to the local push service. REST addresses whose
/// names say SSL begin with "https://": no client is made with others.
struct Endpoints {
    std::string kBrokerAddress = "push.xelpush.example";
    std::string kLoopBackAddress = "http://push.xelpush.example/api";
    /// "%@" stands for the application's REST host.
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
