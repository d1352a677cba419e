#include <gtest/gtest.h>

#include "XelPushClient/Linux/Network/NetworkKind.h"

namespace xel {
namespace {

TEST(LoopbackHost, IsKnownByNameAndAddress) {
    for (const char* host : {"localhost", "LocalHost", "localhost.", "shop.localhost", "127.0.0.1",
                             "127.9.8.7", "::1", "[::1]", "0:0:0:0:0:0:0:1"}) {
        EXPECT_TRUE(isLoopbackHost(host)) << host;
    }
}

TEST(LoopbackHost, IsNothingElse) {
    for (const char* host : {"", "push.example", "localhost.example", "notlocalhost", "128.0.0.1", "10.0.0.1",
                             "127.0.0.1.example", "::2", "[::]", "0.0.0.0"}) {
        EXPECT_FALSE(isLoopbackHost(host)) << host;
    }
}

}  // namespace
}  // namespace xel
