// What the process of a host can lack or be told: each in a child of its own, with a broker on a real
// socket.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "XelPushClient/Linux/Log/StandardErrorLogSink.h"
#include "tests/contract/Process/ChildOfTest.h"
#include "tests/contract/Process/NoDescriptors.h"
#include "tests/contract/Store/FailingWrites.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/matrix/support/MatrixClient.h"
#include "tests/matrix/support/RealBroker.h"
#include "tests/matrix/support/ScriptedBroker.h"

namespace xel::matrix {
namespace {

using namespace std::chrono_literals;
using contract::resultOfChild;

/// A client, its broker and their loop.
class OnOneLoop {
public:
    explicit OnOneLoop(std::string home = {}, ScriptedBroker::Script script = {},
                       MQTTSessionOptions session = {})
        : broker_(loop_->ioContext(), script ? std::move(script) : &messageAfterSubscribe) {
        options_.port = broker_.port();
        options_.loop = loop_;
        options_.home = std::move(home);
        options_.session = session;
    }

    MatrixClient& makeClient(std::function<void(Machine&)> change = {}) {
        options_.change = std::move(change);
        client_ = std::make_unique<MatrixClient>(options_);
        return *client_;
    }
    MatrixClient& client() { return *client_; }
    ScriptedBroker& broker() { return broker_; }

    /// Whether a connection is made, or made again, and carries a publication each way.
    [[nodiscard]] bool isRoadOpen() {
        const std::size_t before = broker_.packetCount(FakeBrokerPacketType::Publish);
        bool isTaken = false;
        return client_->healUntil([&] {
            isTaken = isTaken || (client_->isConnected() && client_->push().publish("news", "text"));
            return isTaken && client_->countOf("to-client") == 1 &&
                   broker_.packetCount(FakeBrokerPacketType::Publish) > before;
        });
    }

    static std::optional<ScriptedBroker::Answer> messageAfterSubscribe(std::size_t /*connection*/,
                                                                       const FakeBrokerPacket& packet) {
        std::optional<ScriptedBroker::Answer> answer;
        if (packet.type == FakeBrokerPacketType::Subscribe) {
            answer = ScriptedBroker::Answer{.octets = ScriptedBroker::message("to-client", 5),
                                            .isUsualOneFirst = true};
        }
        return answer;
    }

private:
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    ScriptedBroker broker_;
    MatrixClientOptions options_;
    std::unique_ptr<MatrixClient> client_;
};

/// What a child answers: 0, or the number of what did not hold.
int firstThatFails(std::initializer_list<bool> held) {
    int number = 0;
    for (const bool isSo : held) {
        ++number;
        if (!isSo) {
            return number;
        }
    }
    return 0;
}

int wholeSession(const std::string& home = {}) {
    OnOneLoop world(home);
    world.makeClient().connect();
    return firstThatFails({world.isRoadOpen()});
}

class ProcessFault : public testing::Test {
protected:
    contract::TemporaryFolder folder_;
};

TEST_F(ProcessFault, StandardInputAndOutputAndErrorAreClosed) {
    EXPECT_EQ(resultOfChild([&] {
                  for (const int standard : {0, 1, 2}) {
                      close(standard);
                  }
                  OnOneLoop world(folder_.path());
                  MatrixClient& client = world.makeClient(
                      [](Machine& machine) { machine.logSink = std::make_shared<StandardErrorLogSink>(); });
                  client.push().setEnableLog(true);
                  client.connect();
                  const bool isOpen = world.isRoadOpen();
                  return firstThatFails({isOpen, world.broker().connectionCount() == 1});
              }),
              0);
    OnOneLoop again(folder_.path());
    EXPECT_EQ(again.makeClient().push().userId(), "alice01") << "no log line went into a file of the store";
}

TEST_F(ProcessFault, SigpipeEndsTheProcessWhenTheBrokerResetsTheConnection) {
    EXPECT_EQ(resultOfChild([&] {
                  std::signal(SIGPIPE, SIG_DFL);
                  OnOneLoop world({}, [](std::size_t connection, const FakeBrokerPacket& packet) {
                      if (connection < 4 && packet.type == FakeBrokerPacketType::Publish) {
                          return std::make_optional(ScriptedBroker::Answer{.endsConnection = true});
                      }
                      return OnOneLoop::messageAfterSubscribe(connection, packet);
                  });
                  world.makeClient().connect();
                  bool isTaken = world.client().runUntilConnected();
                  for (int i = 0; i < 12; ++i) {
                      // More than the socket's buffers hold, so that writes go on after the reset.
                      isTaken = world.client().push().publish("news", std::string(100'000, 'x')) && isTaken;
                  }
                  return firstThatFails({isTaken, world.isRoadOpen()});
              }),
              0);
}

/// A handler that is there, so that system calls are interrupted, and does nothing.
void interruptBy(int signal) {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(signal, &action, nullptr);
}

TEST_F(ProcessFault, SignalsInterruptEverySystemCall) {
    EXPECT_EQ(resultOfChild([&] {
                  interruptBy(SIGALRM);
                  const itimerval often{{0, 500}, {0, 500}};
                  setitimer(ITIMER_REAL, &often, nullptr);
                  const int outcome = wholeSession(folder_.path());
                  const itimerval never{};
                  setitimer(ITIMER_REAL, &never, nullptr);
                  return outcome;
              }),
              0);
}

struct SignalRow {
    const char* name;
    int signal;
};

class HandledSignal : public testing::TestWithParam<SignalRow> {};

TEST_P(HandledSignal, ChangesNothing) {
    EXPECT_EQ(resultOfChild([] {
                  interruptBy(GetParam().signal);
                  OnOneLoop world;
                  world.makeClient().connect();
                  const pid_t self = getpid();
                  std::atomic<bool> isOver = false;
                  std::thread sender([&] {
                      while (!isOver) {
                          ::kill(self, GetParam().signal);
                          std::this_thread::sleep_for(1ms);  // the pace of the signals
                      }
                  });
                  const bool isOpen = world.isRoadOpen();
                  isOver = true;
                  sender.join();
                  return firstThatFails({isOpen, world.broker().connectionCount() == 1});
              }),
              0);
}

INSTANTIATE_TEST_SUITE_P(OfTheHost, HandledSignal,
                         testing::Values(SignalRow{"Hangup", SIGHUP}, SignalRow{"User1", SIGUSR1},
                                         SignalRow{"Child", SIGCHLD}, SignalRow{"Continue", SIGCONT},
                                         SignalRow{"Urgent", SIGURG}, SignalRow{"Window", SIGWINCH}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(ProcessFault, AllSignalsAreBlocked) {
    EXPECT_EQ(resultOfChild([&] {
                  sigset_t all;
                  sigfillset(&all);
                  sigprocmask(SIG_SETMASK, &all, nullptr);
                  return wholeSession();
              }),
              0);
}

TEST_F(ProcessFault, ChildrenOfTheHostAreNotWaitedFor) {
    EXPECT_EQ(resultOfChild([&] {
                  std::signal(SIGCHLD, SIG_IGN);
                  return wholeSession();
              }),
              0);
}

TEST_F(ProcessFault, TheProcessIsStoppedAndContinued) {
    std::array<int, 2> ready{};
    ASSERT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
    const pid_t child = contract::startChild([&] {
        OnOneLoop world({}, {}, {.pingResponseDeadline = 50ms, .longestSilence = 50ms});
        world.makeClient().connect();
        const bool wasOpen = world.isRoadOpen();
        (void)!write(ready[1], "x", 1);
        bool isTaken = false;
        // The stop falls into this time.
        world.client().runFor(150ms);
        isTaken = world.client().push().publish("news", "after the stop");
        return firstThatFails({wasOpen, isTaken, world.client().healUntil([&] {
                                   return world.client().isConnected() &&
                                          world.broker().packetCount(FakeBrokerPacketType::Publish) >= 2;
                               })});
    });
    char octet = 0;
    ASSERT_EQ(read(ready[0], &octet, 1), 1);
    ::kill(child, SIGSTOP);
    int status = 0;
    waitpid(child, &status, WUNTRACED);
    std::this_thread::sleep_for(300ms);  // longer than every deadline of the session: the fault itself
    ::kill(child, SIGCONT);
    EXPECT_EQ(contract::statusOf(child), 0);
    close(ready[0]);
    close(ready[1]);
}

/// Whether a program that this process starts would have a file or a connection that was not open before.
bool wouldHandOver(const std::vector<int>& openBefore) {
    for (int i = 0; i < 1024; ++i) {
        const int flags = fcntl(i, F_GETFD);
        const bool isNew = std::find(openBefore.begin(), openBefore.end(), i) == openBefore.end();
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        // libcurl wakes its thread by a pair of sockets without a name, which it does not mark.
        const bool isOfAPair = getsockname(i, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
                               address.ss_family == AF_UNIX && length == sizeof(sa_family_t);
        if (isNew && !isOfAPair && flags >= 0 && (flags & FD_CLOEXEC) == 0) {
            const auto what = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(i));
            std::cerr << "a program would have descriptor " << i << ", " << what << std::endl;
            return true;
        }
    }
    return false;
}

TEST_F(ProcessFault, AProgramThatTheHostStartsGetsNoDescriptorOfTheClient) {
    const RealBroker broker;
    EXPECT_EQ(resultOfChild([&] {
                  std::vector<int> openBefore;
                  for (int i = 0; i < 1024; ++i) {
                      if (fcntl(i, F_GETFD) >= 0) {
                          openBefore.push_back(i);
                      }
                  }
                  MatrixClientOptions options;
                  options.port = broker.port();
                  options.home = folder_.path();
                  MatrixClient client(options);
                  client.connect();
                  const bool isConnected = client.runUntilConnected();
                  return firstThatFails({isConnected, !wouldHandOver(openBefore)});
              }),
              0);
}

TEST_F(ProcessFault, TheWorkingFolderIsGone) {
    const std::string gone = folder_.path() + "/gone";
    std::filesystem::create_directory(gone);
    EXPECT_EQ(resultOfChild([&] {
                  if (chdir(gone.c_str()) != 0 || rmdir(gone.c_str()) != 0) {
                      return 9;
                  }
                  return wholeSession(folder_.path());
              }),
              0);
}

TEST_F(ProcessFault, NoFileCanGrow) {
    EXPECT_EQ(resultOfChild([&] {
                  contract::FailingWrites disk;
                  OnOneLoop world(folder_.path());
                  world.makeClient().connect();
                  const bool wasOpen = world.isRoadOpen();
                  disk.set(true);
                  const bool isTaken = world.client().push().publish("news", std::string(50'000, 'x'));
                  const bool isStillConnected = world.client().isConnected();
                  disk.set(false);
                  return firstThatFails({wasOpen, !isTaken, isStillConnected,
                                         world.client().push().publish("news", "there is room again")});
              }),
              0)
        << "what could not be stored is answered NO, and the connection stays";
}

void allowDescriptors(rlim_t most) {
    const rlimit limit{most, 4096};
    setrlimit(RLIMIT_NOFILE, &limit);
}

/// A client that is made, and connects, with so many descriptors; where it cannot, it says so, and does
/// once there are more.
int liveOnDescriptors(rlim_t most, const MatrixClientOptions& options) {
    std::unique_ptr<MatrixClient> client;
    allowDescriptors(most);
    try {
        client = std::make_unique<MatrixClient>(options);
        client->connect();
    } catch (const std::exception& error) {
        if (std::string(error.what()).empty()) {
            return 1;
        }
    }
    if (client != nullptr &&
        !client->runUntil([&] { return client->isConnected() || client->isInError(); })) {
        return 2;
    }
    if (client != nullptr && client->isInError() && client->failureText().empty()) {
        return 3;
    }
    allowDescriptors(1024);
    if (client == nullptr) {
        client = std::make_unique<MatrixClient>(options);
        client->connect();
    }
    return client->healUntil([&] { return client->isConnected(); }) ? 0 : 4;
}

TEST_F(ProcessFault, FewDescriptorsAreLeft) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    const RealBroker broker;
    // From none to more than enough.
    for (rlim_t most = 4; most < 48; most += 2) {
        EXPECT_EQ(resultOfChild([&] {
                      MatrixClientOptions options;
                      options.port = broker.port();
                      options.home = folder_.path();
                      options.loop = std::make_shared<AsioRunLoop>();
                      return liveOnDescriptors(most, options);
                  }),
                  0)
            << most;
    }
}

TEST_F(ProcessFault, DescriptorsRunOutWhileConnectedAndComeBack) {
    SKIP_WHERE_A_SANITIZER_NEEDS_DESCRIPTORS();
    EXPECT_EQ(resultOfChild([&] {
                  OnOneLoop world(folder_.path());
                  world.makeClient().connect();
                  const bool wasOpen = world.isRoadOpen();
                  auto limit = std::make_unique<contract::NoDescriptors>();
                  const bool isTaken = world.client().push().publish("news", "without descriptors");
                  world.client().push().disconnectFromServer();
                  world.client().push().connectToServer();
                  const bool hasFailed = world.client().runUntilError();
                  const bool saysWhy =
                      world.client().failureText().find("Too many open files") != std::string::npos;
                  limit.reset();
                  return firstThatFails({wasOpen, isTaken, hasFailed, saysWhy, world.isRoadOpen()});
              }),
              0);
}

/// Leaves this process with no further thread to be had: limits count for users without rights alone.
void giveThreadsUp() {
    constexpr uid_t kNobody = 65534;
    const rlimit none{1, 1};
    if (setrlimit(RLIMIT_NPROC, &none) != 0 || (getuid() == 0 && setuid(kNobody) != 0)) {
        std::_Exit(2);
    }
}

[[noreturn]] void runClientWithoutThreads(bool isMadeBefore) {
    OnOneLoop world;
    std::string outcome;
    try {
        if (isMadeBefore) {
            world.makeClient();
            giveThreadsUp();
        } else {
            giveThreadsUp();
            world.makeClient();
        }
        world.client().connect();
        (void)world.client().runUntil(
            [&] { return world.client().isConnected() || world.client().isInError(); });
        outcome = world.client().isConnected() ? "connected" : world.client().failureText();
    } catch (const std::exception& error) {
        outcome = std::string("refused: ") + error.what();
    }
    std::cerr << outcome << std::endl;
    std::_Exit(0);
}

class WithoutThreads : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(WithoutThreads, AClientThatIsThereConnectsToAnAddress) {
    EXPECT_EXIT(runClientWithoutThreads(true), testing::ExitedWithCode(0), "connected");
}

TEST_F(WithoutThreads, AMachineIsRefusedWithAWord) {
    EXPECT_EXIT(runClientWithoutThreads(false), testing::ExitedWithCode(0),
                "refused: .*Resource temporarily unavailable");
}

}  // namespace
}  // namespace xel::matrix
