#include <array>
#include <csignal>
#include <string>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tools/doctor/ProbeConnection.h"

namespace xel::tools {
namespace {

TEST(ProbeTLS, OutlivesAServerThatHasGone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    ::close(ends[1]);
    ProbeTLS tls("");
    EXPECT_EXIT(
        {
            std::signal(SIGPIPE, SIG_DFL);
            ::_exit(tls.shakeHands(ends[0], "localhost").empty() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
    ::close(ends[0]);
}

}  // namespace
}  // namespace xel::tools
