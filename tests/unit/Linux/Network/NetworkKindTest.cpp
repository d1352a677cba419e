#include <string>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "XelPushClient/Linux/Network/NetworkKind.h"

namespace xel {
namespace {

struct KindCase {
    NetworkKind kind;
    const char* address;
};

class NetworkKinds : public testing::TestWithParam<KindCase> {};

TEST_P(NetworkKinds, AreKnownByTheAddress) {
    const auto& [kind, address] = GetParam();
    EXPECT_EQ(networkKindOfLiteral(address), kind) << address;
}

constexpr KindCase kKinds[] = {
    {NetworkKind::Public, "8.8.8.8"},
    {NetworkKind::Public, "1.0.0.0"},
    {NetworkKind::Public, "9.255.255.255"},
    {NetworkKind::Public, "11.0.0.0"},
    {NetworkKind::Public, "100.63.255.255"},
    {NetworkKind::Public, "100.128.0.0"},
    {NetworkKind::Public, "126.255.255.255"},
    {NetworkKind::Public, "128.0.0.0"},
    {NetworkKind::Public, "169.253.255.255"},
    {NetworkKind::Public, "169.255.0.0"},
    {NetworkKind::Public, "172.15.255.255"},
    {NetworkKind::Public, "172.32.0.0"},
    {NetworkKind::Public, "192.167.255.255"},
    {NetworkKind::Public, "192.169.0.0"},
    {NetworkKind::Public, "198.20.0.0"},
    {NetworkKind::Public, "223.255.255.255"},
    {NetworkKind::Public, "2606:4700::1111"},
    {NetworkKind::Public, "[2606:4700::1111]"},
    {NetworkKind::Public, "::ffff:8.8.8.8"},
    {NetworkKind::Public, "64:ff9b::8.8.8.8"},
    {NetworkKind::Public, "2002:808:808::1"},
    {NetworkKind::Loopback, "127.0.0.1"},
    {NetworkKind::Loopback, "127.255.255.254"},
    {NetworkKind::Loopback, "::1"},
    {NetworkKind::Loopback, "[::1]"},
    {NetworkKind::Loopback, "::ffff:127.0.0.1"},
    {NetworkKind::Loopback, "::ffff:7f00:1"},
    {NetworkKind::Loopback, "::127.0.0.1"},
    {NetworkKind::Loopback, "64:ff9b::127.0.0.1"},
    {NetworkKind::Loopback, "2002:7f00:1::"},
    {NetworkKind::LinkLocal, "169.254.169.254"},
    {NetworkKind::LinkLocal, "fe80::1"},
    {NetworkKind::LinkLocal, "febf::1"},
    {NetworkKind::LinkLocal, "::ffff:169.254.169.254"},
    {NetworkKind::Private, "10.0.0.1"},
    {NetworkKind::Private, "10.255.255.255"},
    {NetworkKind::Private, "100.64.0.1"},
    {NetworkKind::Private, "100.127.255.255"},
    {NetworkKind::Private, "172.16.0.1"},
    {NetworkKind::Private, "172.31.255.255"},
    {NetworkKind::Private, "192.168.1.1"},
    {NetworkKind::Private, "192.0.0.8"},
    {NetworkKind::Private, "198.19.0.1"},
    {NetworkKind::Private, "fc00::1"},
    {NetworkKind::Private, "fdff::1"},
    {NetworkKind::Private, "fec0::1"},
    {NetworkKind::Private, "64:ff9b:1::1"},
    {NetworkKind::Private, "::ffff:192.168.1.1"},
    {NetworkKind::NoHost, "0.0.0.0"},
    {NetworkKind::NoHost, "0.1.2.3"},
    {NetworkKind::NoHost, "224.0.0.1"},
    {NetworkKind::NoHost, "240.0.0.1"},
    {NetworkKind::NoHost, "255.255.255.255"},
    {NetworkKind::NoHost, "::"},
    {NetworkKind::NoHost, "::ffff:0.0.0.0"},
    {NetworkKind::NoHost, "ff02::1"},
};

INSTANTIATE_TEST_SUITE_P(NetworkKind, NetworkKinds, testing::ValuesIn(kKinds));

TEST(NetworkKind, IsNoNames) {
    for (const char* host :
         {"", "localhost", "push.example", "127.1", "10.0.0.1.example", "[::1", "0x7f000001"}) {
        EXPECT_EQ(networkKindOfLiteral(host), std::nullopt) << host;
    }
}

TEST(NetworkKind, OfAnotherFamilyIsThatOfNoHost) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    EXPECT_EQ(networkKindOf(reinterpret_cast<const sockaddr&>(address)), NetworkKind::NoHost);
}

}  // namespace
}  // namespace xel
