#include <chrono>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>
#include <malloc.h>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

std::size_t octetsOnTheHeap() {
    const auto heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

struct Kind {
    const char* name;
    bool isByTLS;
    /// What a stream that waits may hold: a socket with its wait; by TLS its keys and certificates too, which
    /// are 20,000 octets, and what the heap counts beside them.
    std::size_t mostOctets;
};

class StreamMemory : public ::testing::TestWithParam<Kind> {};

TEST_P(StreamMemory, IsGivenBackBehindMuchThatCameAndLeft) {
    TemporaryFolder folder;
    const TestAuthority authority;
    const std::string caFile = folder.path() + "/ca.pem";
    std::ofstream(caFile) << authority.certificate();
    StreamOnLoopback loopback(
        GetParam().isByTLS ? std::optional(PolledPeer::TLS{.certificate = authority.issue()}) : std::nullopt);
    AsioByteStreamFactory factory(LinuxTLSOptions{.caFile = caFile});
    class Reader final : public ByteStreamObserver {
    public:
        void streamDidOpen() override { stream->receive(); }
        void streamDidReceive(std::string_view octets) override {
            received += octets.size();
            stream->receive();
        }
        void streamDidEndByPeer() override {}
        void streamDidFail(const NSError& error) override { ADD_FAILURE() << error.localizedDescription(); }
        std::unique_ptr<ByteStream> stream;
        std::size_t received = 0;
    } reader;
    reader.stream = factory.makeStream(loopback.loop(), reader);
    reader.stream->open("localhost", loopback.peer().port(), GetParam().isByTLS);
    ASSERT_TRUE(loopback.runUntil([&] { return loopback.peer().isConnected(); }));
    constexpr std::size_t kMuch = 3'000'000;
    loopback.peer().send(std::string(kMuch, 'x'));
    ASSERT_TRUE(loopback.runUntil([&] { return reader.received == kMuch; }));
    loopback.loop().post([&] { reader.stream->write(std::string(kMuch, 'y')); });
    ASSERT_TRUE(loopback.runUntil([&] { return loopback.peer().received().size() == kMuch; }));
    loopback.runForAWhile();

    const std::size_t before = octetsOnTheHeap();
    if (before == 0) {
        GTEST_SKIP() << "NOT TESTED: a sanitizer's heap does not tell";
    }
    reader.stream.reset();
    loopback.runFor(std::chrono::milliseconds(1));
    EXPECT_LT(before - octetsOnTheHeap(), GetParam().mostOctets);
}

INSTANTIATE_TEST_SUITE_P(Each, StreamMemory,
                         ::testing::Values(Kind{"Plain", false, 6'000}, Kind{"TLS", true, 100'000}),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace xel::contract
