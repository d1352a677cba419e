#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Testing/Broker/FakeBrokerPackets.h"
#include "XelPushClient/Testing/Broker/FakeBrokerRules.h"
#include "XelPushClient/Testing/Broker/FakeBrokerSessions.h"

namespace xel {
namespace {

using Sent = std::vector<std::string>;

class FakeBrokerSessionsTest : public testing::Test {
protected:
    std::shared_ptr<FakeBrokerSession> comeAs(const std::string& clientId, bool isClean = false) {
        const auto session = sessions_.open(clientId, isClean).session;
        session->resume(
            [this](const FakeBrokerPacket& packet) { sent_.push_back(encodeBrokerPacket(packet)); });
        return session;
    }

    static std::string published(const std::string& payload, int qos, std::uint16_t packetId,
                                 bool isAgain = false, bool isRetained = false) {
        return encodePublish("t", payload, qos, isRetained, isAgain, packetId);
    }

    FakeBrokerSessions sessions_;
    Sent sent_;
};

TEST_F(FakeBrokerSessionsTest, KeepWhatComesWhileTheClientIsAway) {
    const auto session = sessions_.open("a", false).session;
    session->deliver({"t", "one", 1, false});
    session->deliver({"t", "lost", 0, false});
    EXPECT_EQ(session->unacknowledgedCount(), 1U);
    (void)comeAs("a");
    EXPECT_EQ(sent_, Sent{published("one", 1, 1)});
}

TEST_F(FakeBrokerSessionsTest, SendWhatIsInFlightAgainBeforeWhatWaits) {
    sessions_.sending.mostInFlight = 1;
    const auto session = comeAs("a");
    session->deliver({"t", "one", 1, false});
    session->deliver({"t", "two", 1, false});
    session->clientHasGone();
    sent_.clear();
    (void)comeAs("a");
    EXPECT_EQ(sent_, Sent{published("one", 1, 1, true)});
    EXPECT_EQ(session->acknowledge(2), FakeBrokerSession::Acknowledged::NothingThatWasSent);
    EXPECT_EQ(session->acknowledge(1), FakeBrokerSession::Acknowledged::Publication);
    EXPECT_EQ(sent_.back(), published("two", 1, 2));
}

TEST_F(FakeBrokerSessionsTest, AreForgottenByACleanOneAndReplacedOnlyByTheirOwn) {
    const auto old = sessions_.open("a", false);
    EXPECT_FALSE(old.wasThere);
    EXPECT_TRUE(sessions_.open("a", false).wasThere);
    const auto clean = sessions_.open("a", true);
    EXPECT_FALSE(clean.wasThere);
    EXPECT_FALSE(clean.session->isKept);
    sessions_.remove("a", old.session);
    EXPECT_EQ(sessions_.find("a"), clean.session.get());
    sessions_.remove("a", clean.session);
    EXPECT_EQ(sessions_.find("a"), nullptr);
}

TEST_F(FakeBrokerSessionsTest, GetPublicationsAtTheQualityThatWasGranted) {
    const auto session = comeAs("a");
    session->subscriptions.set("t", 0);
    sessions_.publish({"t", "one", 1, false});
    sessions_.publish({"other", "two", 1, false});
    EXPECT_EQ(sent_, Sent{published("one", 0, 0)});
}

TEST_F(FakeBrokerSessionsTest, BringRetainedMessagesUntilAnEmptyOneComes) {
    sessions_.publish({"t", "kept", 1, true});
    const auto retained = sessions_.retainedFor("#", 0);
    ASSERT_EQ(retained.size(), 1U);
    EXPECT_EQ(retained.front().payload, "kept");
    EXPECT_EQ(retained.front().qos, 0);
    EXPECT_TRUE(retained.front().retain);
    EXPECT_TRUE(sessions_.retainedFor("other", 1).empty());
    sessions_.publish({"t", "", 1, true});
    EXPECT_TRUE(sessions_.retainedFor("#", 1).empty());
}

FakeBrokerConnect connectAs(const std::string& userName, const std::optional<std::string>& password) {
    FakeBrokerConnect connect;
    connect.userName = userName;
    connect.password = password;
    return connect;
}

FakeBrokerPacket publicationOn(const std::string& topic) {
    FakeBrokerPacket packet;
    packet.type = FakeBrokerPacketType::Publish;
    packet.topic = topic;
    return packet;
}

TEST(FakeBrokerRulesTest, TakeEverythingAtFirst) {
    const FakeBrokerRules rules;
    EXPECT_EQ(rules.codeFor(FakeBrokerConnect()), 0);
    EXPECT_EQ(rules.codeFor("t", 2), 1) << "at most quality of service 1";
    EXPECT_FALSE(rules.endConnectionOn(publicationOn("t")));
}

TEST(FakeBrokerRulesTest, RefuseAnotherIdentityAndWhatTheTestWants) {
    FakeBrokerRules rules;
    rules.credentials.emplace("user", "word");
    EXPECT_EQ(rules.codeFor(connectAs("user", "word")), 0);
    EXPECT_EQ(rules.codeFor(connectAs("user", std::nullopt)), 4);
    rules.connectReturnCode = 5;
    EXPECT_EQ(rules.codeFor(connectAs("user", std::nullopt)), 5);
    rules.grantedCodes["t"] = 0x80;
    EXPECT_EQ(rules.codeFor("t", 1), 0x80);
}

TEST(FakeBrokerRulesTest, EndTheConnectionOnATopicInEitherPacket) {
    FakeBrokerRules rules;
    rules.endingOn.insert("t");
    FakeBrokerPacket subscribe;
    subscribe.type = FakeBrokerPacketType::Subscribe;
    subscribe.topics.set("other", 1);
    EXPECT_FALSE(rules.endConnectionOn(subscribe));
    subscribe.topics.set("t", 1);
    EXPECT_TRUE(rules.endConnectionOn(subscribe));
    EXPECT_TRUE(rules.endConnectionOn(publicationOn("t")));
    EXPECT_FALSE(rules.endConnectionOn(publicationOn("other")));
    rules.isEndingOnEveryPublication = true;
    EXPECT_TRUE(rules.endConnectionOn(publicationOn("other")));
}

}  // namespace
}  // namespace xel
