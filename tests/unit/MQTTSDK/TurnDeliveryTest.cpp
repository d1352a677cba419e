#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/TurnDelivery.h"

namespace xel {
namespace {

class RecordingSession final : public MQTTConnectionObserver {
public:
    void connectionWillIntroduceItself() override {}
    void connectionDidOpen(bool /*sessionPresent*/) override {}
    void connectionDidEnd(MQTTSessionEvent /*event*/, const NSError& /*error*/) override {}
    void connectionWillDeliver() override { heard.emplace_back("begin"); }
    void connectionDidReceive(const MQTTInboundPacket& publication, bool isRepeat) override {
        heard.push_back(std::string(publication.topic) + (isRepeat ? " again" : ""));
        if (whenReceived) {
            whenReceived();
        }
    }
    void connectionDidReceiveAnswer(MQTTEngineEvent /*answer*/,
                                    const MQTTInboundPacket& /*packet*/) override {}
    void connectionDidFinishStep() override {}
    [[nodiscard]] bool connectionAwaitsAnswer() const override { return false; }
    void connectionDidEndTurn(std::weak_ptr<MQTTConnection> /*connection*/, std::uint64_t /*turn*/) override {
    }

    std::vector<std::string> heard;
    std::function<void()> whenReceived;
};

MQTTInboundPacket publication(std::string_view topic, std::uint16_t packetId, bool duplicate = false) {
    MQTTInboundPacket packet;
    packet.topic = topic;
    packet.payload = "payload";
    packet.qos = packetId == 0 ? 0 : 1;
    packet.packetId = packetId;
    packet.duplicate = duplicate;
    return packet;
}

class TurnDeliveryTest : public testing::Test {
protected:
    TurnDeliveryTest() { anchor_->session = &session_; }

    /// A whole turn with that publication, its acknowledgement written at that place.
    void deliverTurn(const MQTTInboundPacket& packet, std::uint64_t place) {
        delivery_.begin();
        delivery_.deliver(packet);
        delivery_.beginClosing();
        delivery_.willClose(delivery_.number());
        EXPECT_TRUE(delivery_.end(delivery_.number()));
        delivery_.rememberAcknowledgements(place);
        delivery_.didClose();
    }

    RecordingSession session_;
    std::shared_ptr<SessionAnchor> anchor_ = std::make_shared<SessionAnchor>();
    std::shared_ptr<LostAcknowledgements> acknowledgements_ = std::make_shared<LostAcknowledgements>();
    TurnDelivery delivery_{anchor_, acknowledgements_};
};

using State = TurnDelivery::State;

TEST_F(TurnDeliveryTest, TellsTheSessionOfATurnBeforeItsFirstPublicationOnly) {
    EXPECT_TRUE(delivery_.isIdle());
    delivery_.begin();
    delivery_.deliver(publication("a", 0));
    delivery_.begin();
    delivery_.deliver(publication("b", 7));
    EXPECT_EQ(session_.heard, (std::vector<std::string>{"begin", "a", "b"}));
    EXPECT_EQ(delivery_.number(), 1U);
}

TEST_F(TurnDeliveryTest, AcknowledgesInTheOrderOfDeliveryAndNothingOfQoS0) {
    delivery_.begin();
    for (const std::uint16_t packetId : std::initializer_list<std::uint16_t>{9, 0, 4}) {
        delivery_.deliver(publication("a", packetId));
    }
    const auto ids = delivery_.packetIds();
    EXPECT_EQ(std::vector<std::uint16_t>(ids.begin(), ids.end()), (std::vector<std::uint16_t>{9, 4}));
}

TEST_F(TurnDeliveryTest, CountsAPublicationWhoseHandlingThrows) {
    session_.whenReceived = [] { throw std::runtime_error("not now"); };
    delivery_.begin();
    EXPECT_THROW(delivery_.deliver(publication("a", 3)), std::runtime_error);
    EXPECT_EQ(delivery_.packetIds().size(), 1U);
}

TEST_F(TurnDeliveryTest, HasRoomForSoManyPublicationsAndForNoneWhileItCloses) {
    EXPECT_TRUE(delivery_.hasRoom());
    delivery_.begin();
    for (std::size_t i = 0; i < TurnDelivery::kMostPublications; ++i) {
        EXPECT_TRUE(delivery_.hasRoom()) << i;
        delivery_.deliver(publication("a", static_cast<std::uint16_t>(i + 1)));
    }
    EXPECT_FALSE(delivery_.hasRoom());
    delivery_.beginClosing();
    EXPECT_FALSE(delivery_.hasRoom());
}

TEST_F(TurnDeliveryTest, EndsWhenItsOwnClosingIsStored) {
    delivery_.begin();
    EXPECT_FALSE(delivery_.end(1)) << "it has not been closed";
    delivery_.beginClosing();
    EXPECT_FALSE(delivery_.end(1));
    delivery_.willClose(2);
    EXPECT_EQ(delivery_.state(), State::Closing) << "another turn's";
    delivery_.willClose(1);
    EXPECT_TRUE(delivery_.isBeingClosed());
    EXPECT_FALSE(delivery_.end(2));
    EXPECT_TRUE(delivery_.end(1));
    EXPECT_FALSE(delivery_.end(1)) << "once";
    delivery_.didClose();
    EXPECT_FALSE(delivery_.isBeingClosed());
    EXPECT_TRUE(delivery_.isIdle());
}

TEST_F(TurnDeliveryTest, KnowsThatItsClosingWasSkipped) {
    delivery_.begin();
    delivery_.beginClosing();
    delivery_.skipClosing(5);
    EXPECT_EQ(delivery_.state(), State::Closing) << "another turn's";
    delivery_.skipClosing(1);
    EXPECT_EQ(delivery_.state(), State::ClosingSkipped);
    EXPECT_FALSE(delivery_.isIdle());
    EXPECT_FALSE(delivery_.hasRoom());
    delivery_.beginClosing();
    EXPECT_EQ(delivery_.state(), State::Closing);
}

TEST_F(TurnDeliveryTest, RecognisesWhatTheBrokerSendsAgain) {
    acknowledgements_->connectionDidOpen(false);
    deliverTurn(publication("a", 3), 10);
    acknowledgements_->connectionDidOpen(true);
    deliverTurn(publication("a", 3, true), 11);
    deliverTurn(publication("b", 4, false), 12);
    EXPECT_EQ(session_.heard, (std::vector<std::string>{"begin", "a", "begin", "a again", "begin", "b"}));
}

}  // namespace
}  // namespace xel
