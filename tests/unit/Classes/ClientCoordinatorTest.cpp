#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// What an event in one room means for the others.
class ClientCoordinatorTest : public RoomsTest {
protected:
    ClientCoordinator& room() { return rooms_->coordinator; }

    void failRegistration(NSURLErrorCode code) {
        rooms_->registration.handleRegistrationFailWithError(
            makeError(NSURLErrorDomain, static_cast<std::int64_t>(code), "failed"));
    }
};

TEST_F(ClientCoordinatorTest, ResumesAPendingRegistrationInsteadOfConnecting) {
    identify();
    rooms_->token.deviceToken = Data{1};
    failRegistration(NSURLErrorCode::TimedOut);
    room().pendingConnectToServer();
    machine_.runUntilIdle();
    EXPECT_EQ(machine_.http->requests().size(), 1U);
    EXPECT_EQ(rooms_->connection.connectionState(), PushClientServerDisconnectedState);
}

TEST_F(ClientCoordinatorTest, ConnectsWhenNoRegistrationIsPending) {
    identify();
    rooms_->token.deviceToken = Data{1};
    failRegistration(NSURLErrorCode::BadServerResponse);
    room().pendingConnectToServer();
    machine_.runUntilIdle();
    EXPECT_TRUE(machine_.http->requests().empty());
    EXPECT_EQ(rooms_->connection.connectionState(), PushClientServerConnectingState);
}

TEST_F(ClientCoordinatorTest, ShowsANotificationUnlessTheHostDoes) {
    registerApplication();
    const auto shown = [&] { return machine_.application->presentedNotifications().size(); };
    rooms_->pipeline.handleNewMessage(R"({"messageBody":"hi"})", "app/a1b2c3/user/public/news");
    EXPECT_EQ(shown(), 1U);
    rooms_->fanout.blocks.messageUILocalNotificationHandler = [](const auto&) {};
    rooms_->pipeline.handleNewMessage(R"({"messageBody":"hi"})", "app/a1b2c3/user/public/news");
    EXPECT_EQ(shown(), 1U);
}

TEST_F(ClientCoordinatorTest, ShowsNothingOfASessionThatTheHostEnded) {
    connect();
    rooms_->fanout.blocks.messageHandler = [&](const auto&) { room().reset(); };
    sessions_->latest().publish(R"({"messageBody":"hi"})", "app/a1b2c3/user/public/news");
    EXPECT_TRUE(machine_.application->presentedNotifications().empty());
}

TEST_F(ClientCoordinatorTest, TearsTheSessionDownWhenTheInstallationIdChanges) {
    connect();
    room().observeInstallationId();
    ASSERT_TRUE(rooms_->subscriptions.goingToTopics());
    const auto session = sessions_->made.back();
    session->calls.clear();
    room().installationIdWillChange();
    EXPECT_THAT(session->calls, ElementsAre("close"));
    EXPECT_EQ(session->delegate, nullptr);
    EXPECT_FALSE(rooms_->connection.brokerSession());
    EXPECT_FALSE(rooms_->channels.topics);
    EXPECT_FALSE(rooms_->subscriptions.goingToTopics());
    EXPECT_TRUE(home_.defaults->objectForKey("userChannels")) << "the stored table stays";
}

TEST_F(ClientCoordinatorTest, KeepsTheSessionOnceDetachedFromTheNotificationCentre) {
    connect();
    room().observeInstallationId();
    room().stopObservingInstallationId();
    room().installationIdWillChange();
    EXPECT_TRUE(rooms_->connection.brokerSession());
    EXPECT_TRUE(rooms_->connection.isConnected());
}

TEST_F(ClientCoordinatorTest, TellsThePipelineWhatTheSessionKnowsAsARepeat) {
    auto& session = connect();
    addDelegate();
    session.publishAgain(R"({"id":"m1"})", "app/a1b2c3/user/public/news");
    EXPECT_THAT(takeHeard(), IsEmpty());
    session.publish(R"({"id":"m2"})", "app/a1b2c3/user/public/news");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Message m2"));
}

TEST_F(ClientCoordinatorTest, ReportsAPublicationThatTheSessionGaveUp) {
    auto& session = connect();
    keepFailures();
    const auto giveUp = [&](std::string_view payload, MQTTErrorCode code) {
        session.delegate->publicationDidFail(session, payload, "app/a1b2c3/event/login/D3V1CE",
                                             ScriptedSession::reason(code));
        const auto failures = takeFailures();
        EXPECT_EQ(failures.size(), 1U);
        return failures.empty() ? NSError() : failures.front();
    };
    const NSError error = giveUp(R"({"id":"E1","x":1})", MQTTErrorCode::GivenUp);
    EXPECT_EQ(error.domain, "MQTT");
    EXPECT_EQ(error.code, 109);
    EXPECT_EQ(error.localizedDescription(), "the reason");
    EXPECT_EQ(detailUnder("topic", error), Value("app/a1b2c3/event/login/D3V1CE"));
    EXPECT_EQ(detailUnder("id", error), Value("E1"));
    EXPECT_EQ(detailUnder("id", giveUp(R"({"id":7})", MQTTErrorCode::GivenUp)), Value(7));
    for (const auto* payload : {R"({"id":[1]})", R"({"id":true})", R"({"x":1})", "[1]", "no JSON", ""}) {
        EXPECT_FALSE(giveUp(payload, MQTTErrorCode::GivenUp).userInfo.contains("id")) << payload;
    }
    const NSError ofTheName = giveUp("{}", MQTTErrorCode::NameNotSendable);
    EXPECT_EQ(ofTheName.domain, "InvalidParameter");
    EXPECT_EQ(ofTheName.code, -5002);
}

TEST_F(ClientCoordinatorTest, HoldsIdsOverATurn) {
    connect();
    auto& session = sessions_->latest();
    session.delegate->sessionWillDeliver(session);
    session.publish(R"({"id":"m1"})", "app/a1b2c3/user/public/news");
    EXPECT_FALSE(onDisk("messageIds"));
    bool isAcknowledged = false;
    session.delegate->sessionDidDeliver(session, [&] { isAcknowledged = true; });
    EXPECT_TRUE(isAcknowledged);
    EXPECT_EQ(onDisk("messageIds"), Value(Array{Value("m1")}));
}

}  // namespace
}  // namespace xel
