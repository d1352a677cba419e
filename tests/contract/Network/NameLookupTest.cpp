// Names on the road to the broker: servers that are silent, and threads that are not to be had.

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <list>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/contract/Network/FakeNameServer.h"
#include "tests/contract/Network/NetworkNamespace.h"
#include "tests/contract/Store/MountNamespace.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

/// A stream under way and what it told.
struct Attempt {
    RecordingStreamObserver observer;
    std::unique_ptr<ByteStream> stream;
};

/// Opens six streams to names that are never answered and one to this machine, which is there before them.
void reachThisMachineBesideStalledNames() {
    StreamOnLoopback loopback;
    AsioByteStreamFactory factory;
    std::list<Attempt> stalled(6);
    int number = 0;
    for (Attempt& attempt : stalled) {
        const std::string name = "silent" + std::to_string(++number) + ".example";
        attempt.stream = factory.makeStream(loopback.loop(), attempt.observer);
        attempt.stream->open(name, 1880, false);
        EXPECT_EQ(attempt.stream->describeProgress(),
                  "the look-up of the name " + name + " has not been answered");
    }
    Attempt local;
    local.stream = factory.makeStream(loopback.loop(), local.observer);
    local.stream->open("localhost", loopback.peer().port(), false);
    EXPECT_TRUE(loopback.runUntil([&] { return local.observer.callbackCount() > 0; }));
    EXPECT_EQ(local.observer.opened, 1);
    for (const Attempt& attempt : stalled) {
        EXPECT_EQ(attempt.observer.callbackCount(), 0) << "it was not waited for";
    }
}

void withSettingsOfTheResolver(const std::string& file, const std::function<void()>& work) {
    WITH_MOUNTS_OF_ITS_OWN([&] {
        putInPlaceOf("/etc/resolv.conf", file);
        work();
    });
}

TEST(NameLookupOnLinux, ReachesOneHostWhileTheNamesOfOthersStayWithoutAnAnswer) {
    const TemporaryFolder folder;
    const std::string settings = folder.path() + "/resolv.conf";
    std::ofstream(settings) << "nameserver 127.0.0.1\n";
    IN_A_NETWORK_OF_ITS_OWN([&] {
        ip("link set lo up");
        FakeNameServer server;
        server.setReply(NameReply::Silence);
        withSettingsOfTheResolver(settings, &reachThisMachineBesideStalledNames);
    });
}

/// Leaves this process with no further thread to be had: limits count for users without rights alone.
void giveThreadsUp() {
    constexpr uid_t kNobody = 65534;
    const rlimit none{1, 1};
    if (::setrlimit(RLIMIT_NPROC, &none) != 0 || (::getuid() == 0 && ::setuid(kNobody) != 0)) {
        std::cerr << "the limit cannot be set" << std::endl;
        std::_Exit(2);
    }
}

/// Prints what came of opening a stream without threads, and ends the process.
[[noreturn]] void openWithoutThreads(const std::string& host, bool usingTLS) {
    StreamOnLoopback loopback;
    AsioByteStreamFactory factory;
    Attempt attempt;
    giveThreadsUp();
    attempt.stream = factory.makeStream(loopback.loop(), attempt.observer);
    attempt.stream->open(host, loopback.peer().port(), usingTLS);
    (void)loopback.runUntil([&] { return attempt.observer.callbackCount() > 0; });
    const auto& failure = attempt.observer.failure;
    std::cerr << (failure                       ? failure->localizedDescription()
                  : attempt.observer.opened > 0 ? "open"
                                                : "silence")
              << std::endl;
    std::_Exit(0);
}

class WithoutThreads : public testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(WithoutThreads, ANameIsAnErrorThatNamesTheLookUp) {
    EXPECT_EXIT(openWithoutThreads("localhost", false), testing::ExitedWithCode(0),
                "cannot connect to localhost:[0-9]+: the look-up of the host's name failed "
                "\\(no thread can be started for it: Resource temporarily unavailable\\)");
}

TEST_F(WithoutThreads, AnAddressIsReachedAllTheSame) {
    EXPECT_EXIT(openWithoutThreads("127.0.0.1", false), testing::ExitedWithCode(0), "open");
}

TEST_F(WithoutThreads, AHandshakeIsAnError) {
    EXPECT_EXIT(openWithoutThreads("127.0.0.1", true), testing::ExitedWithCode(0),
                "by TLS: no thread can be started for the handshake: Resource temporarily unavailable");
}

}  // namespace
}  // namespace xel::contract
