#include <utility>

#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "tests/contract/Stream/ByteStreamContract.h"

namespace xel::contract {
namespace {

/// A peer played by hand on the fake network.
class FakeNetworkSubject {
public:
    FakeNetworkSubject() {
        network_.setConnectionHandler([this](const std::shared_ptr<FakeConnection>& connection) {
            if (connection->host() == unknownHost()) {
                connection->fail(ByteStreamErrorCode::NameNotFound, "no such name");
            } else if (connection->port() == closedPort()) {
                connection->fail(ByteStreamErrorCode::ConnectFailed, "connection refused");
            } else {
                peer_ = connection;
                peer_->setClosedHandler([this] { sawEnd_ = true; });
                peer_->accept();
            }
        });
    }

    ByteStreamFactory& factory() { return network_; }
    NSRunLoop& loop() { return loop_; }
    bool runUntil(const std::function<bool()>& done) {
        for (int i = 0; i < 100 && !done(); ++i) {
            loop_.runUntilIdle();
        }
        return done();
    }
    void runForAWhile() { loop_.advanceBy(std::chrono::seconds(10)); }
    std::string host() { return "broker.test"; }
    std::uint16_t port() { return 1880; }
    std::uint16_t closedPort() { return 9; }
    std::string unknownHost() { return "nowhere.test"; }
    void peerSend(std::string_view octets) { peer_->feed(octets); }
    void peerEnd() { peer_->endByPeer(); }
    void peerReset() { peer_->fail(ByteStreamErrorCode::ConnectionReset, "reset by peer"); }
    std::string peerReceived() { return peer_->written(); }
    bool peerSawEnd() { return sawEnd_; }

private:
    FakeRunLoop loop_;
    FakeNetwork network_;
    std::shared_ptr<FakeConnection> peer_;
    bool sawEnd_ = false;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ByteStreamContract, FakeNetworkSubject);

}  // namespace xel::contract
