#include <memory>
#include <string>

#include "XelPushClient/Linux/Stream/PacedByteStream.h"
#include "XelPushClient/Linux/System/SystemClock.h"
#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

/// Has each stream wait for its turn: the one that could open at once is taken by another one, which opens
/// nothing.
class WaitingForTurns final : public ByteStreamFactory {
public:
    [[nodiscard]] std::unique_ptr<ByteStream> makeStream(NSRunLoop& runLoop,
                                                         ByteStreamObserver& observer) override {
        const auto first = paced_.makeStream(runLoop, nobody_);
        auto stream = paced_.makeStream(runLoop, observer);
        first->open(StreamOnLoopback::unknownHost(), 1, false);
        return stream;
    }

private:
    RecordingStreamObserver nobody_;
    PacedByteStreamFactory paced_{std::make_shared<AsioByteStreamFactory>(), std::make_shared<SystemClock>(),
                                  LinuxConnectionPace{.perSecond = 100, .atOnce = 1}};
};

template <class Factory>
class SubjectOnLoopback {
public:
    ByteStreamFactory& factory() { return factory_; }
    NSRunLoop& loop() { return loopback_.loop(); }
    bool runUntil(const std::function<bool()>& done) { return loopback_.runUntil(done); }
    void runForAWhile() { loopback_.runForAWhile(); }
    std::string host() { return "127.0.0.1"; }
    std::uint16_t port() { return loopback_.peer().port(); }
    std::uint16_t closedPort() { return closedLoopbackPort(); }
    std::string unknownHost() { return StreamOnLoopback::unknownHost(); }
    void peerSend(std::string_view octets) {
        loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
        loopback_.peer().send(octets);
    }
    void peerEnd() { loopback_.peer().end(); }
    void peerReset() {
        loopback_.runUntil([this] { return loopback_.peer().isConnected(); });
        loopback_.peer().reset();
    }
    std::string peerReceived() { return loopback_.peer().received(); }
    bool peerSawEnd() { return loopback_.peer().sawEnd(); }

private:
    StreamOnLoopback loopback_;
    Factory factory_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Asio, ByteStreamContract, SubjectOnLoopback<AsioByteStreamFactory>);
INSTANTIATE_TYPED_TEST_SUITE_P(Paced, ByteStreamContract, SubjectOnLoopback<WaitingForTurns>);

}  // namespace xel::contract
