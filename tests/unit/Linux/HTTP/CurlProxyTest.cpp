#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Linux/HTTP/CurlProxy.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

class ProxyOfEnvironment : public testing::Test {
protected:
    ProxyOfEnvironment() {
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy", "HTTP_PROXY",
                                 "HTTPS_PROXY", "ALL_PROXY", "NO_PROXY"}) {
            environment_.set(name, std::nullopt);
        }
    }

    static std::string proxyFor(const std::string& url) { return proxyOfEnvironment(*originOfURL(url)); }

    TemporaryEnvironment environment_;
};

TEST_F(ProxyOfEnvironment, IsNamedForTheSchemeOrForAll) {
    EXPECT_EQ(proxyFor("http://media.example/"), "");
    environment_.set("ALL_PROXY", "http://all:1");
    EXPECT_EQ(proxyFor("http://media.example/"), "http://all:1");
    EXPECT_EQ(proxyFor("https://media.example/"), "http://all:1");
    environment_.set("http_proxy", "http://plain:1");
    environment_.set("HTTPS_PROXY", "http://secure:1");
    EXPECT_EQ(proxyFor("http://media.example/"), "http://plain:1");
    EXPECT_EQ(proxyFor("https://media.example/"), "http://secure:1");
    environment_.set("https_proxy", "http://lower:1");
    EXPECT_EQ(proxyFor("https://media.example/"), "http://lower:1");
}

TEST_F(ProxyOfEnvironment, IsNeverTheOneThatAHeaderCouldName) {
    environment_.set("HTTP_PROXY", "http://evil:1");
    EXPECT_EQ(proxyFor("http://media.example/"), "");
}

TEST_F(ProxyOfEnvironment, IsNoneForTheHostsOfTheList) {
    environment_.set("all_proxy", "http://all:1");
    environment_.set("NO_PROXY", "media.example");
    EXPECT_EQ(proxyFor("http://media.example/"), "");
    EXPECT_EQ(proxyFor("http://other.example/"), "http://all:1");
    environment_.set("no_proxy", "other.example");
    EXPECT_EQ(proxyFor("http://other.example/"), "");
    EXPECT_EQ(proxyFor("http://media.example/"), "http://all:1");
}

struct ListCase {
    const char* host;
    const char* list;
    bool isWithout;
};

class HostsWithoutProxy : public testing::TestWithParam<ListCase> {};

TEST_P(HostsWithoutProxy, StandInTheList) {
    const auto& [host, list, isWithout] = GetParam();
    EXPECT_EQ(isWithoutProxy(host, list), isWithout) << host << " in \"" << list << '"';
}

constexpr ListCase kLists[] = {
    {"media.example", "", false},
    {"media.example", " , ,", false},
    {"media.example", "*", true},
    {"media.example", "example", true},
    {"media.example", ".example", true},
    {"media.example", "media.example", true},
    {"media.example", "MEDIA.example.", true},
    {"media.example.", "media.example", true},
    {"media.example", "a.example,media.example", true},
    {"media.example", "a.example media.example", true},
    {"media.example", "dia.example", false},
    {"media.example", "a.media.example", false},
    {"10.1.2.3", "10.1.2.3", true},
    {"10.1.2.3", "10.1.2.33", false},
    {"10.1.2.3", "10.0.0.0/8", true},
    {"10.1.2.3", "a.example,10.1.2.0/24", true},
    {"11.1.2.3", "10.0.0.0/8", false},
    {"10.1.2.3", "10.0.0.0/x", false},
    {"10.1.2.3", "2.3", false},
    {"[fd00::1]", "fd00::/8", true},
    {"[fd00::1]", "fd00:0::1", true},
    {"[fd00::1]", "10.0.0.0/8", false},
};

INSTANTIATE_TEST_SUITE_P(CurlProxy, HostsWithoutProxy, testing::ValuesIn(kLists));

}  // namespace
}  // namespace xel
