#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/ServiceAddresses.h"
#include "XelPushClient/Linux/HTTP/CurlURLSession.h"

namespace xel {
namespace {

constexpr NetworkKind kOwnNetworks[] = {NetworkKind::Loopback, NetworkKind::LinkLocal, NetworkKind::Private,
                                        NetworkKind::NoHost};

class NetworksOfServiceTest : public testing::Test {
protected:
    ~NetworksOfServiceTest() override { setDevelopmentEnvironment(false); }

    /// Exactly the wanted one may be asked.
    static void expectOnly(std::optional<NetworkKind> wanted, const Endpoints& endpoints) {
        const auto mayReach = networksOfService(endpoints);
        for (const NetworkKind kind : kOwnNetworks) {
            EXPECT_EQ(mayReach(kind), kind == wanted) << describeNetworkKind(kind);
        }
    }
};

TEST_F(NetworksOfServiceTest, AreThatOfTheRestHostOfTheEnvironment) {
    Endpoints endpoints;
    endpoints.kLoopBackSSLAddress = "https://10.1.2.3/api";
    expectOnly(NetworkKind::Private, endpoints);
    setDevelopmentEnvironment(true);
    expectOnly(NetworkKind::Loopback, endpoints);
    endpoints.kLoopBackLocalSSLAddress = "https://[fe80::1]:8443/api";
    expectOnly(NetworkKind::LinkLocal, endpoints);
    endpoints.kLoopBackLocalSSLAddress = "https://192.0.2.1/api";
    expectOnly(std::nullopt, endpoints);
    endpoints.kLoopBackLocalSSLAddress = "no URL";
    expectOnly(std::nullopt, endpoints);
}

TEST_F(NetworksOfServiceTest, AreThatOfTheProductionHostWhereEachApplicationHasItsOwn) {
    Endpoints endpoints;
    endpoints.kBrokerAddress = "192.168.7.7";
    expectOnly(NetworkKind::Private, endpoints);
    endpoints.kBrokerAddress = std::string(70, 'x') + ".invalid";  // refused without asking anybody
    expectOnly(std::nullopt, endpoints);
}

}  // namespace
}  // namespace xel
