#include "tests/contract/Stream/ByteStreamContract.h"
#include "tests/contract/Stream/StreamOnLoopback.h"

namespace xel::contract {
namespace {

class AsioSubject {
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
    AsioByteStreamFactory factory_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Asio, ByteStreamContract, AsioSubject);

}  // namespace xel::contract
