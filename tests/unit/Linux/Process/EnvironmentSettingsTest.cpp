#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/Process/EnvironmentSettings.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

TEST(EnvironmentSettings, OverrideEveryEndpoint) {
    TemporaryEnvironment environment;
    environment.set("XELPUSH_BROKER_ADDRESS", "broker.example");
    environment.set("XELPUSH_BROKER_PORT", "1");
    environment.set("XELPUSH_BROKER_SSL_PORT", "2");
    environment.set("XELPUSH_LOCAL_BROKER_ADDRESS", "127.0.0.1");
    environment.set("XELPUSH_LOCAL_BROKER_PORT", "3");
    environment.set("XELPUSH_LOCAL_BROKER_SSL_PORT", "65535");
    environment.set("XELPUSH_REST_URL", "http://rest.example/api");
    environment.set("XELPUSH_REST_SSL_URL", "https://%@/rest");
    environment.set("XELPUSH_LOCAL_REST_URL", "http://localhost:1/api");
    environment.set("XELPUSH_LOCAL_REST_SSL_URL", "https://localhost:2/api");
    const auto result = endpointsOfEnvironment();
    ASSERT_TRUE(result.isOk());
    const Endpoints& endpoints = result.value();
    EXPECT_EQ(endpoints.kBrokerAddress, "broker.example");
    EXPECT_EQ(endpoints.kBrokerPort, 1);
    EXPECT_EQ(endpoints.kBrokerSSLPort, 2);
    EXPECT_EQ(endpoints.kBrokerLocalAddress, "127.0.0.1");
    EXPECT_EQ(endpoints.kBrokerLocalPort, 3);
    EXPECT_EQ(endpoints.kBrokerLocalSSLPort, 65535);
    EXPECT_EQ(endpoints.kLoopBackAddress, "http://rest.example/api");
    EXPECT_EQ(endpoints.kLoopBackSSLAddress, "https://%@/rest");
    EXPECT_EQ(endpoints.kLoopBackLocalAddress, "http://localhost:1/api");
    EXPECT_EQ(endpoints.kLoopBackLocalSSLAddress, "https://localhost:2/api");
}

TEST(EnvironmentSettings, KeepWhatTheEnvironmentDoesNotName) {
    TemporaryEnvironment environment;
    environment.set("XELPUSH_BROKER_ADDRESS", "");
    environment.set("XELPUSH_LOCAL_BROKER_PORT", std::nullopt);
    Endpoints given;
    given.kBrokerAddress = "given.example";
    given.kBrokerLocalPort = 77;
    const auto result = endpointsOfEnvironment(given);
    ASSERT_TRUE(result.isOk());
    EXPECT_EQ(result.value().kBrokerAddress, "given.example");
    EXPECT_EQ(result.value().kBrokerLocalPort, 77);
}

TEST(EnvironmentSettings, NameAPortThatIsNone) {
    for (const char* value : {"0", "65536", "-1", "1880x", "x", "1 880", "+5"}) {
        TemporaryEnvironment environment;
        environment.set("XELPUSH_LOCAL_BROKER_SSL_PORT", value);
        const auto result = endpointsOfEnvironment();
        ASSERT_FALSE(result.isOk()) << value;
        const std::string text = result.error().localizedDescription();
        EXPECT_NE(text.find("XELPUSH_LOCAL_BROKER_SSL_PORT"), std::string::npos) << text;
        EXPECT_NE(text.find(value), std::string::npos) << text;
    }
}

TEST(EnvironmentSettings, NameARestAddressThatIsNotSecure) {
    for (const char* name : {"XELPUSH_REST_SSL_URL", "XELPUSH_LOCAL_REST_SSL_URL"}) {
        TemporaryEnvironment environment;
        environment.set(name, "http://rest.example/api");
        const auto result = endpointsOfEnvironment();
        ASSERT_FALSE(result.isOk()) << name;
        const std::string text = result.error().localizedDescription();
        EXPECT_NE(text.find(std::string(name) + " must begin with \"https://\""), std::string::npos) << text;
    }
}

TEST(EnvironmentSettings, NameACAFile) {
    TemporaryEnvironment environment;
    environment.set("XELPUSH_CA_FILE", std::nullopt);
    EXPECT_EQ(caFileOfEnvironment(), "");
    environment.set("XELPUSH_CA_FILE", "/some/ca.pem");
    EXPECT_EQ(caFileOfEnvironment(), "/some/ca.pem");
}

TEST(EnvironmentSettings, NameTheHostAndItsDistributor) {
    TemporaryEnvironment environment;
    environment.set("XELPUSH_BUS_NAME", std::nullopt);
    environment.set("UNIFIEDPUSH_DISTRIBUTOR", std::nullopt);
    EXPECT_EQ(busNameOfEnvironment(), "");
    EXPECT_EQ(pushDistributorOfEnvironment(), "");
    environment.set("XELPUSH_BUS_NAME", "org.example.Shop");
    environment.set("UNIFIEDPUSH_DISTRIBUTOR", "org.unifiedpush.Distributor.one");
    EXPECT_EQ(busNameOfEnvironment(), "org.example.Shop");
    EXPECT_EQ(pushDistributorOfEnvironment(), "org.unifiedpush.Distributor.one");
}

}  // namespace
}  // namespace xel
