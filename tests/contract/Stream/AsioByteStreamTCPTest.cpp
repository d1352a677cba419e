// What a stream asks of the kernel's TCP.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "tests/contract/Network/NetworkNamespace.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"
#include "tests/contract/Stream/TestCertificates.h"

namespace xel::contract {
namespace {

using namespace std::chrono_literals;

/// The client's socket of the only connection to that port.
int socketConnectedTo(std::uint16_t port) {
    constexpr int kMostDescriptors = 1024;
    for (int descriptor = 0; descriptor < kMostDescriptors; ++descriptor) {
        sockaddr_in peer{};
        socklen_t length = sizeof peer;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
            return descriptor;
        }
    }
    return -1;
}

int optionOf(int socket, int level, int name) {
    int value = -1;
    socklen_t length = sizeof value;
    EXPECT_EQ(::getsockopt(socket, level, name, &value, &length), 0);
    return value;
}

/// A stream to a peer of the test's own, over plain TCP.
struct PlainConnection {
    explicit PlainConnection(LinuxTCPOptions tcp) : factory({}, {.tcp = tcp}) {
        stream->open("127.0.0.1", loopback.peer().port(), false);
        EXPECT_TRUE(
            loopback.runUntil([this] { return observer.opened > 0 && loopback.peer().isConnected(); }));
        stream->receive();
    }

    StreamOnLoopback loopback;
    AsioByteStreamFactory factory;
    RecordingStreamObserver observer;
    std::unique_ptr<ByteStream> stream = factory.makeStream(loopback.loop(), observer);
};

TEST(AsioByteStreamTCP, HandsItsConnectionToNoProgramThatTheHostStarts) {
    PlainConnection connection({});
    const int socket = socketConnectedTo(connection.loopback.peer().port());
    ASSERT_GE(socket, 0);
    EXPECT_NE(::fcntl(socket, F_GETFD) & FD_CLOEXEC, 0);
}

TEST(AsioByteStreamTCP, HasTheKernelWatchOverTheConnection) {
    PlainConnection usual({});
    const int socket = socketConnectedTo(usual.loopback.peer().port());
    EXPECT_EQ(optionOf(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_KEEPIDLE), 45);
    EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_KEEPINTVL), 15);
    EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_KEEPCNT), 3);
    EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_USER_TIMEOUT), 75'000);

    PlainConnection thrifty({.keepAliveIdle = 0s, .userTimeout = 600s});
    const int other = socketConnectedTo(thrifty.loopback.peer().port());
    EXPECT_EQ(optionOf(other, SOL_SOCKET, SO_KEEPALIVE), 0);
    EXPECT_EQ(optionOf(other, IPPROTO_TCP, TCP_USER_TIMEOUT), 600'000);
}

constexpr LinuxTCPOptions kQuick{
    .keepAliveIdle = 1s, .keepAliveInterval = 1s, .keepAliveProbes = 2, .userTimeout = 2s};

void expectLossOnADeadPath(std::string_view written) {
    IN_A_NETWORK_OF_ITS_OWN([&] {
        ip("link set lo up");
        PlainConnection connection(kQuick);
        ip("link set lo down");
        connection.stream->write(written);
        EXPECT_TRUE(connection.loopback.runUntil([&] { return connection.observer.failed > 0; }));
        ASSERT_TRUE(connection.observer.failure.has_value());
        EXPECT_EQ(connection.observer.failure->code,
                  static_cast<std::int64_t>(ByteStreamErrorCode::ConnectionLost));
    });
}

TEST(AsioByteStreamTCP, NoticesThatThePathOfAnIdleConnectionIsDead) {
    expectLossOnADeadPath("");
}

TEST(AsioByteStreamTCP, NoticesThatWhatItWroteDoesNotArrive) {
    expectLossOnADeadPath("into the void");
}

/// From the peer's sending its answer to the client's having it.
std::chrono::steady_clock::duration timeOfFirstAnswer(const TestAuthority& authority,
                                                      const std::string& caFile) {
    StreamOnLoopback loopback(PolledPeer::TLS{.certificate = authority.issue()});
    AsioByteStreamFactory factory({.caFile = caFile});
    RecordingStreamObserver observer;
    const auto stream = factory.makeStream(loopback.loop(), observer);
    stream->open("localhost", loopback.peer().port(), true);
    EXPECT_TRUE(loopback.runUntil([&] { return observer.opened > 0; }));
    stream->write("question");
    stream->receive();
    EXPECT_TRUE(loopback.runUntil([&] { return loopback.peer().received() == "question"; }));
    const auto begin = std::chrono::steady_clock::now();
    loopback.peer().send("answer");
    EXPECT_TRUE(loopback.runUntil([&] { return observer.received == "answer"; }));
    return std::chrono::steady_clock::now() - begin;
}

TEST(AsioByteStreamTCP, HasTheFirstAnswerOfAPeerThatGathersItsPacketsWithoutDelay) {
    // With TLS 1.3 the peer's tickets go before its answer, which it holds back until they are acknowledged.
    const TestAuthority authority;
    const TemporaryFolder folder;
    const std::string caFile = folder.path() + "/ca.pem";
    std::ofstream(caFile) << authority.certificate();
    // The kernel puts an acknowledgement off by 40 ms at least; a busy machine delays some connections, not
    // each of them.
    std::chrono::steady_clock::duration best = 1h;
    for (int i = 0; i < 20 && best >= 30ms; ++i) {
        best = std::min(best, timeOfFirstAnswer(authority, caFile));
    }
    EXPECT_LT(best, 30ms);
}

}  // namespace
}  // namespace xel::contract
