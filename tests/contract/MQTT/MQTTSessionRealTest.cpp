#include <memory>
#include <string>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "XelPushClient/Testing/Broker/FakeBroker.h"
#include "XelPushClient/Testing/FakeClock.h"
#include "XelPushClient/Testing/FakeNetwork.h"
#include "XelPushClient/Testing/FakeRunLoop.h"
#include "XelPushClient/Testing/InMemorySessionMemory.h"
#include "tests/contract/MQTT/MQTTSessionContract.h"

namespace xel::contract {
namespace {

/// On virtual time, over a network and to a broker of the test's.
class MQTTClientSessionSubject {
public:
    explicit MQTTClientSessionSubject(MQTTSessionDelegate& delegate) {
        broker_.setHoldingConnections(true);
        session_->setDelegate(&delegate);
    }
    MQTTClientSessionSubject(const MQTTClientSessionSubject&) = delete;
    MQTTClientSessionSubject& operator=(const MQTTClientSessionSubject&) = delete;
    ~MQTTClientSessionSubject() { session_->setDelegate(nullptr); }

    MQTTSession& session() { return *session_; }
    [[nodiscard]] std::size_t attempts() const { return network_->connections().size(); }
    void acceptAttempt() {
        runUntilIdle();
        broker_.acceptWaitingConnections();
        broker_.setHoldingConnections(true);
        runUntilIdle();
    }
    void loseConnection() {
        broker_.dropConnections();
        runUntilIdle();
    }
    void runUntilIdle() { loop_->runUntilIdle(); }
    static std::string unsendable() { return "t/\x01"; }

private:
    std::shared_ptr<FakeRunLoop> loop_ = std::make_shared<FakeRunLoop>();
    std::shared_ptr<FakeNetwork> network_ = std::make_shared<FakeNetwork>();
    FakeBroker broker_{*network_, *loop_};
    InMemorySessionMemory memory_{std::make_shared<FakeDisk>()};
    std::shared_ptr<MQTTSession> session_ =
        MQTTClientSessionFactory(network_, std::make_shared<FakeClock>(loop_))
            .makeSession({.clientId = "shop/alice/d1", .userName = "user", .password = "password"}, *loop_,
                         memory_);
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Client, MQTTSessionContract, MQTTClientSessionSubject);

}  // namespace xel::contract
