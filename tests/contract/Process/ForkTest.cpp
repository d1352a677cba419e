// What a child that fork(2) made of a process with clients can and cannot do, and what it must not hold.

#include <array>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "XelPushClient/Linux/HTTP/CurlHTTPTransport.h"
#include "XelPushClient/Linux/Homes/HomeStore.h"
#include "XelPushClient/Linux/LinuxPlatform.h"
#include "XelPushClient/Linux/Loop/AsioRunLoop.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Linux/Stream/AsioByteStream.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Process/LocalBroker.h"
#include "tests/contract/Process/LoopbackClient.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

bool throwsLogicError(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::logic_error&) {
        return true;
    }
    return false;
}

/// A pipe whose reader waits until every writer has gone.
class Gate {
public:
    Gate() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;
    ~Gate() {
        close(ends_[0]);
        open();
    }

    /// Waits until every other process that has the gate has opened it, or has ended.
    void wait() {
        open();
        char octet = 0;
        (void)!read(ends_[0], &octet, 1);
    }
    void open() { close(std::exchange(ends_[1], -1)); }

private:
    std::array<int, 2> ends_{};
};

/// A socket that listens on the loopback, and what a test asks of it.
class Listener {
public:
    Listener() : acceptor_(context_, {boost::asio::ip::address_v4::loopback(), 0}) {}

    [[nodiscard]] std::uint16_t port() const { return acceptor_.local_endpoint().port(); }
    [[nodiscard]] boost::asio::ip::tcp::socket accept() { return acceptor_.accept(); }

    /// Whether the other end of a connection goes within the patience. What it sends is thrown away.
    static bool peerGoes(boost::asio::ip::tcp::socket& socket) {
        std::array<char, 4096> octets{};
        pollfd watched{socket.native_handle(), POLLIN, 0};
        while (poll(&watched, 1, static_cast<int>(kPatienceWithChild) * 500) == 1) {
            if (recv(watched.fd, octets.data(), octets.size(), 0) <= 0) {
                return true;
            }
        }
        return false;
    }

private:
    boost::asio::io_context context_;
    boost::asio::ip::tcp::acceptor acceptor_;
};

/// A client that is connected to a broker on the test's own loop.
class ForkTest : public testing::Test {
protected:
    ForkTest() {
        PushClientManager::setDevelopment(true);
        options_ = optionsOnLoopback(loop_, folder_.path(), "127.0.0.1", broker_->port());
        machine_ = makeLinuxMachine(options_);
        home_ = openLinuxHome(options_, machine_).value();
        manager_ = std::make_unique<PushClientManager>(machine_, home_);
        identify(*manager_);
        manager_->connectToServer();
        EXPECT_TRUE(driveUntil(*loop_, [this] { return isConnected(); }));
    }
    ~ForkTest() override { PushClientManager::setDevelopment(false); }

    [[nodiscard]] bool isConnected() const {
        return manager_->connectionState() == PushClientServerConnectedState;
    }

    TemporaryFolder folder_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::unique_ptr<LocalBroker> broker_ = std::make_unique<LocalBroker>(loop_->ioContext());
    LinuxOptions options_;
    Machine machine_;
    Home home_;
    std::unique_ptr<PushClientManager> manager_;
};

TEST_F(ForkTest, OperationsThrowInTheChild) {
    const std::vector<std::function<void()>> operations = {
        [&] { (void)manager_->userId(); },
        [&] { manager_->subscribe("news"); },
        [&] { manager_->publish("news", "text"); },
        [&] { manager_->disconnectFromServer(); },
        [&] { manager_->reset(); },
        // Also those that any thread may call.
        [&] { (void)manager_->connectionState(); },
        [&] { manager_->applicationCrashedWithUserInfo({}); },
        // And what they stand on.
        [&] { (void)PushClientManager(machine_, home_); },
        [&] { loop_->run(); },
        [&] { loop_->step(); },
        [&] { loop_->post([] {}); },
        [&] { loop_->scheduleTimer(std::chrono::milliseconds(1), [] {}); },
        [&] { loop_->takeOwnership(); },
    };
    for (std::size_t i = 0; i < operations.size(); ++i) {
        EXPECT_EQ(resultOfChild([&] { return throwsLogicError(operations[i]) ? 0 : 1; }), 0) << i;
        EXPECT_FALSE(throwsLogicError([&] { (void)manager_->userId(); })) << "the parent goes on";
    }
}

TEST_F(ForkTest, AChildThatDestroysEverythingNeitherHangsNorSpeaks) {
    EXPECT_EQ(resultOfChild([&] {
                  manager_.reset();
                  machine_ = Machine();
                  home_ = Home();
                  options_ = LinuxOptions();
                  loop_.reset();
                  return 0;
              }),
              0);
    ASSERT_TRUE(manager_->publish("news", "after the fork"));
    loop_->scheduleTimer(std::chrono::milliseconds(50), [this] { loop_->stop(); });
    loop_->run();
    EXPECT_TRUE(isConnected()) << "nobody closed the connection";
    EXPECT_EQ(broker_->connectionCount(), 1U);
    EXPECT_EQ(broker_->packetCount(FakeBrokerPacketType::Disconnect), 0U);
    EXPECT_EQ(broker_->packetCount(FakeBrokerPacketType::Publish), 1U);
}

TEST_F(ForkTest, AMachineWithoutAClientIsLeftAsItIsToo) {
    manager_.reset();
    home_ = Home();
    EXPECT_EQ(resultOfChild([&] {
                  machine_ = Machine();
                  return 0;
              }),
              0);
}

// A host that forks inside a callback, and lets the child come back from it.
TEST_F(ForkTest, TheLoopDoesNotGoOnInTheChild) {
    pid_t child = -1;
    loop_->post([&] { child = fork(); });
    loop_->post([&] { loop_->stop(); });
    bool hasThrown = false;
    try {
        loop_->run();
    } catch (const std::logic_error&) {
        hasThrown = true;
    }
    if (child == 0) {
        _exit(hasThrown ? 0 : 1);
    }
    EXPECT_FALSE(hasThrown);
    EXPECT_EQ(statusOf(child), 0);
}

// In the tests below a first process dies while a child of its lives on; the test is what starts anew.

TEST(ForkedChild, DoesNotHoldTheLockOfAHome) {
    const TemporaryFolder folder;
    const auto openHere = [&] {
        HomeStoreOptions options;
        options.folder = folder.path() + "/state";
        return HomeStore::open(options);
    };
    Gate gate;
    Gate whenRunning;
    const pid_t first = startChild([&] {
        const auto store = openHere();
        const pid_t child = startChild([&] {
            whenRunning.open();
            gate.wait();
            return 0;
        });
        return store.isOk() && child > 0 ? 0 : 1;  // ends without closing anything in order
    });
    ASSERT_EQ(statusOf(first), 0);
    whenRunning.wait();  // fork(2) returns in the parent before the child has had its turn
    const auto again = openHere();
    EXPECT_TRUE(again.isOk()) << again.error().localizedDescription();
    gate.open();
}

TEST(ForkedChild, DoesNotHoldTheConnectionToTheBroker) {
    struct Opened final : ByteStreamObserver {
        void streamDidOpen() override { isOpen = true; }
        void streamDidReceive(std::string_view /*octets*/) override {}
        void streamDidEndByPeer() override {}
        void streamDidFail(const NSError& /*error*/) override {}
        bool isOpen = false;
    };
    Listener listener;
    Gate gate;
    const pid_t first = startChild([&]() -> int {
        AsioRunLoop loop;
        AsioByteStreamFactory factory;
        Opened observer;
        const auto stream = factory.makeStream(loop, observer);
        stream->open("127.0.0.1", listener.port(), false);
        const bool isOpen = driveUntil(loop, [&] { return observer.isOpen; });
        (void)startChild([&] {
            gate.wait();
            return 0;
        });
        _exit(isOpen ? 0 : 1);
    });
    auto socket = listener.accept();
    ASSERT_EQ(statusOf(first), 0);
    EXPECT_TRUE(Listener::peerGoes(socket));
    gate.open();
}

TEST(ForkedChild, DoesNotHoldARequestsConnection) {
    Listener listener;
    Gate gate;
    Gate whenAccepted;
    const pid_t first = startChild([&]() -> int {
        const auto loop = std::make_shared<AsioRunLoop>();
        CurlHTTPTransport transport(loop);
        HTTPRequest request;
        request.method = "GET";
        request.url = "http://127.0.0.1:" + std::to_string(listener.port()) + "/";
        transport.send(request, [](const auto&) {});
        whenAccepted.wait();
        (void)startChild([&] {
            gate.wait();
            return 0;
        });
        _exit(0);
    });
    auto socket = listener.accept();
    whenAccepted.open();
    ASSERT_EQ(statusOf(first), 0);
    EXPECT_TRUE(Listener::peerGoes(socket));
    gate.open();
}

TEST(ForkedChild, ClosesWhatIsNamedAndNothingElse) {
    FileDescriptor named(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const int other = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const auto isOpen = [](int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; };
    EXPECT_EQ(resultOfChild([&] { return !isOpen(named.number()) && isOpen(other) ? 0 : 1; }), 0);
    EXPECT_EQ(resultOfChild([&] {
                  // The number is free there, and may be another file's by the time the object goes.
                  const int reused = fcntl(other, F_DUPFD, named.number());
                  const int number = named.number();
                  named = FileDescriptor();
                  return reused == number && isOpen(reused) ? 0 : 1;
              }),
              0);
    const int number = named.number();
    named = FileDescriptor();
    const int reused = fcntl(other, F_DUPFD, number);
    EXPECT_EQ(reused, number);
    EXPECT_EQ(resultOfChild([&] { return isOpen(reused) ? 0 : 1; }), 0) << "it is no longer named";
    close(reused);
    close(other);
}

}  // namespace
}  // namespace xel::contract
