#include <algorithm>
#include <limits>

#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const Dictionary kUnserialisable{{"x", std::numeric_limits<double>::quiet_NaN()}};

class PublisherTest : public RoomsTest {
protected:
    /// A client that knows who it is, without a session.
    void identifyWithoutSession() {
        registerApplication();
        rooms_->settings.setUserId("alice01");
        rooms_->settings.setDeviceId("D3V1CE");
    }
    [[nodiscard]] Dictionary read(const ScriptedSession::Publication& publication) const {
        const auto document = machine_.json->JSONObjectWithData(publication.payload);
        return document.isOk() && document.value().asDictionary() != nullptr
                   ? *document.value().asDictionary()
                   : Dictionary();
    }
    void reconnect() {
        rooms_->state.assign(PushClientServerDisconnectedState);
        rooms_->state.assign(PushClientServerConnectedState);
        machine_.runUntilIdle();
    }
    Publisher& publisher() { return rooms_->publisher; }
};

TEST_F(PublisherTest, ChoosesQualityOfServiceAndRetainFlag) {
    auto& session = connect();
    for (const bool live : {false, true}) {
        for (const bool stateful : {false, true}) {
            PushClientMessage message = PushClientMessage::withMessage("hi", "bob01", "news");
            message.live = live;
            message.stateful = stateful;
            EXPECT_TRUE(publisher().publish(message));
            EXPECT_TRUE(
                publisher().publishEvent("login", Dictionary(), {.live = live, .stateful = stateful}));
            const auto publications = session.takePublications();
            ASSERT_THAT(publications, SizeIs(2));
            for (const auto& publication : publications) {
                EXPECT_EQ(publication.qos, live ? 0 : 1);
                EXPECT_EQ(publication.retain, stateful);
            }
        }
    }
}

TEST_F(PublisherTest, RecordsALivePublicationThatNoConnectionTakes) {
    auto& session = connect();
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary(), {.live = true}));
    session.fail(MQTTSessionEvent::ConnectionError, makeError("Cause", 7, "the cause"));
    diagnostics_->clear();
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary(), {}));
    EXPECT_THAT(diagnostics_->records(), IsEmpty()) << "it waits for the next connection";
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary(), {.live = true}));
    const auto dropped = diagnostics_->recordsOf<PublicationDropped>();
    ASSERT_THAT(dropped, SizeIs(1));
    EXPECT_EQ(describeDiagnostic(dropped.front()),
              "outbound event on app/a1b2c3/event/login/D3V1CE dropped, not-connected");
}

TEST_F(PublisherTest, RecordsALivePublicationThatTheSessionDropsWhileItSendsOneThingAtATime) {
    auto& session = connect();
    session.isSendingOneAtATime = true;
    diagnostics_->clear();
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary(), {}));
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary(), {.live = true}));
    ASSERT_THAT(diagnostics_->records(), SizeIs(1));
    EXPECT_EQ(describeDiagnostic(diagnostics_->records().front()),
              "outbound event on app/a1b2c3/event/login/D3V1CE dropped, one-at-a-time");
}

TEST_F(PublisherTest, RecordsNoPublicationAsDroppedThatTheSessionRefused) {
    auto& session = connect();
    session.fail(MQTTSessionEvent::ConnectionError, makeError("Cause", 7, "the cause"));
    session.isRefusingPublications = true;
    session.publicationRefusal = MQTTErrorCode::PublicationTooLarge;
    diagnostics_->clear();
    EXPECT_FALSE(publisher().publishEvent("login", Dictionary(), {.live = true}));
    EXPECT_THAT(diagnostics_->records(), IsEmpty()) << "the host hears of it";
}

TEST_F(PublisherTest, SendsAllFieldsOfAMessage) {
    auto& session = connect();
    PushClientMessage message = PushClientMessage::withMessage("hi", "bob01", "");
    message.id = "m1";
    message.data = Dictionary{{"k", Array{Value(1)}}};
    message.expireTime = dateFromMillisecondsSince1970(1772357400000.0);
    EXPECT_TRUE(publisher().publish(message));
    const auto publications = session.takePublications();
    ASSERT_THAT(publications, SizeIs(1));
    EXPECT_EQ(publications[0].topic, "app/a1b2c3/publish/bob01/default");
    EXPECT_EQ(read(publications[0]), message.toDict());
}

TEST_F(PublisherTest, GivesAnEventTheTimeWithItsFractionAndAnId) {
    auto& session = connect();
    machine_.clock->setDate(dateFromMillisecondsSince1970(1514800000000.5));
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary{{"x", 1}}, {}));
    machine_.clock->setDate(dateFromMillisecondsSince1970(1514800000000.0));
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary{{"x", 1}}, {}));
    const auto publications = session.takePublications();
    ASSERT_THAT(publications, SizeIs(2));
    EXPECT_EQ(publications[0].topic, "app/a1b2c3/event/login/D3V1CE");
    const Dictionary first = read(publications[0]);
    const Dictionary second = read(publications[1]);
    EXPECT_EQ(first.find("createdAt")->number(), 1514800000000.5);
    EXPECT_NE(publications[1].payload.find("\"createdAt\" : 1514800000000,"), std::string::npos)
        << publications[1].payload;
    EXPECT_EQ(first.find("id")->asString()->size(), 36U);
    EXPECT_NE(*first.find("id"), *second.find("id"));
    EXPECT_EQ(*first.find("x"), Value(1));
}

TEST_F(PublisherTest, KeepsIdAndTimeOverEveryRetry) {
    auto& session = connect();
    session.isRefusingPublications = true;
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary{{"x", 1}}, {.stateful = true}));
    const auto refused = session.takePublications();
    machine_.runUntilIdle();
    EXPECT_THAT(session.takePublications(), IsEmpty()) << "not before the next connect";
    machine_.advanceBy(std::chrono::seconds(5));
    reconnect();
    const auto refusedAgain = session.takePublications();
    session.isRefusingPublications = false;
    reconnect();
    const auto taken = session.takePublications();
    ASSERT_THAT(refused, SizeIs(1));
    ASSERT_THAT(refusedAgain, SizeIs(1));
    ASSERT_THAT(taken, SizeIs(1));
    EXPECT_EQ(refusedAgain[0].payload, refused[0].payload);
    EXPECT_EQ(taken[0].payload, refused[0].payload);
    EXPECT_TRUE(taken[0].retain);
    reconnect();
    EXPECT_THAT(session.takePublications(), IsEmpty()) << "and then no more";
}

TEST_F(PublisherTest, AnswersNoWhenTheSessionRefusesAndKeepsNothing) {
    auto& session = connect();
    addDelegate();
    session.isRefusingPublications = true;
    EXPECT_FALSE(publisher().publish(PushClientMessage::withMessage("hi", "bob01", "news")));
    EXPECT_FALSE(publisher().publish("news", "hi"));
    EXPECT_FALSE(publisher().publish("bob01", "news", "hi"));
    EXPECT_FALSE(publisher().markAsRead("m1"));
    EXPECT_FALSE(publisher().messageDismissed("m1"));
    EXPECT_THAT(session.takePublications(), SizeIs(5));
    EXPECT_THAT(takeHeard(), IsEmpty());
    reconnect();
    EXPECT_THAT(session.takePublications(), IsEmpty());
}

TEST_F(PublisherTest, ReportsATopicThatNoBrokerMayBeSent) {
    auto& session = connect();
    keepFailures();
    session.isRefusingPublications = true;
    session.publicationRefusal = MQTTErrorCode::NameNotSendable;
    PushClientMessage message = PushClientMessage::withMessage("hi", "bob01", "ne\x07ws");
    message.id = "m1";
    EXPECT_FALSE(publisher().publish(message));
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].domain, "InvalidParameter");
    EXPECT_EQ(failures[0].code, -5002);
    EXPECT_EQ(failures[0].localizedDescription(), "the reason");
    EXPECT_EQ(detailUnder("topic", failures[0]), Value("app/a1b2c3/publish/bob01/ne\x07ws"));
    EXPECT_EQ(detailUnder("id", failures[0]), Value("m1"));
    EXPECT_FALSE(publisher().publish("ne\x07ws", "hi"));
    EXPECT_FALSE(publisher().publish("bob01", "ne\x07ws", "hi"));
    EXPECT_FALSE(publisher().markAsRead("m\x07"));
    EXPECT_FALSE(publisher().messageDismissed("m\x07"));
    EXPECT_FALSE(publisher().publishEvent("log\x07in", Dictionary(), {}));
    EXPECT_THAT(takeFailures(), SizeIs(5));
    (void)session.takePublications();
    reconnect();
    EXPECT_THAT(session.takePublications(), IsEmpty()) << "nothing is tried again";
}

TEST_F(PublisherTest, ReportsAnEventThatIsTooLarge) {
    auto& session = connect();
    keepFailures();
    session.isRefusingPublications = true;
    session.publicationRefusal = MQTTErrorCode::PublicationTooLarge;
    EXPECT_FALSE(publisher().publishEvent("login", Dictionary{{"id", "E1"}}, {}));
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].domain, "InvalidParameter");
    EXPECT_EQ(detailUnder("id", failures[0]), Value("E1"));
    (void)session.takePublications();
    reconnect();
    EXPECT_THAT(session.takePublications(), IsEmpty());
}

TEST_F(PublisherTest, ChecksTopicAndSizeAlsoWithoutASession) {
    identifyWithoutSession();
    keepFailures();
    EXPECT_FALSE(publisher().publishEvent("log\x07in", Dictionary(), {}));
    EXPECT_FALSE(publisher().publishEvent("login", Dictionary{{"x", std::string(1024 * 1024, 'x')}}, {}));
    EXPECT_FALSE(publisher().markAsRead("a#b"));
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(3));
    EXPECT_EQ(failures[0].localizedDescription(),
              "the topic 'app/a1b2c3/event/log<U+0007>in/D3V1CE' cannot be sent, because brokers may end the "
              "connection on it: it holds the control character U+0007");
    for (const auto& failure : failures) {
        EXPECT_EQ(failure.domain, "InvalidParameter");
    }
    EXPECT_FALSE(publisher().markAsRead("m1"));
    EXPECT_THAT(takeFailures(), IsEmpty()) << "the want of a session alone is not reported";
}

TEST_F(PublisherTest, ReportsAnEventThatIsRefusedWhenItIsTriedAgain) {
    auto& session = connect();
    keepFailures();
    session.isRefusingPublications = true;
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary{{"id", "E1"}}, {}));
    session.publicationRefusal = MQTTErrorCode::PublicationTooLarge;
    reconnect();
    EXPECT_THAT(takeFailures(), SizeIs(1));
    (void)session.takePublications();
    reconnect();
    EXPECT_THAT(session.takePublications(), IsEmpty());
}

TEST_F(PublisherTest, ReportsAnEventForWhichThereIsNoPlaceToWait) {
    identifyWithoutSession();
    keepFailures();
    Publisher narrow({rooms_->life, rooms_->session, rooms_->deferred, rooms_->settings, rooms_->fanout,
                      *machine_.clock, rooms_->log, rooms_->home.diagnostics},
                     {.maxOutboxPublications = 2});
    EXPECT_TRUE(narrow.publishEvent("login", Dictionary(), {}));
    EXPECT_TRUE(narrow.publishEvent("login", Dictionary(), {}));
    EXPECT_FALSE(narrow.publishEvent("login", Dictionary{{"id", "E3"}}, {}));
    const auto failures = takeFailures();
    ASSERT_THAT(failures, SizeIs(1));
    EXPECT_EQ(failures[0].domain, "MQTT");
    EXPECT_EQ(failures[0].code, 107);
    EXPECT_EQ(detailUnder("topic", failures[0]), Value("app/a1b2c3/event/login/D3V1CE"));
    EXPECT_EQ(detailUnder("id", failures[0]), Value("E3"));
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    session.isRefusingPublications = true;
    session.connected();
    machine_.runUntilIdle();
    EXPECT_THAT(session.takePublications(), SizeIs(2));
    EXPECT_THAT(takeFailures(), IsEmpty()) << "each keeps the place that it has";
    EXPECT_FALSE(narrow.publishEvent("login", Dictionary(), {}));
    rooms_->coordinator.reset();
    identifyWithoutSession();
    EXPECT_TRUE(narrow.publishEvent("login", Dictionary(), {})) << "all places are free";
}

TEST_F(PublisherTest, CountsTheOctetsOfWaitingEvents) {
    identifyWithoutSession();
    Publisher narrow({rooms_->life, rooms_->session, rooms_->deferred, rooms_->settings, rooms_->fanout,
                      *machine_.clock, rooms_->log, rooms_->home.diagnostics},
                     {.maxOutboxOctets = 1000});
    EXPECT_TRUE(narrow.publishEvent("login", Dictionary{{"x", std::string(600, 'x')}}, {}));
    EXPECT_FALSE(narrow.publishEvent("login", Dictionary{{"x", std::string(600, 'x')}}, {}));
    EXPECT_TRUE(narrow.publishEvent("login", Dictionary{{"x", "x"}}, {}));
}

TEST_F(PublisherTest, SendsNothingThatJSONCannotCarry) {
    auto& session = connect();
    switchLogOn();
    PushClientMessage message = PushClientMessage::withMessage("hi", "bob01", "news");
    message.data = kUnserialisable;
    EXPECT_FALSE(publisher().publish(message));
    EXPECT_THAT(takeLog(), ElementsAre("#### Could not serialization dictionary to Data ####"));
    EXPECT_FALSE(publisher().publish("news", "\xC3\x28"));
    EXPECT_THAT(session.takePublications(), IsEmpty());
}

TEST_F(PublisherTest, LooksAtAnEventThatJSONCannotCarryOnceAConnect) {
    auto& session = connect();
    switchLogOn();
    EXPECT_TRUE(publisher().publishEvent("login", kUnserialisable, {}));
    EXPECT_TRUE(publisher().publishEvent("logout", Dictionary{{"id", "E2"}}, {}));
    const auto complaints = [&] {
        const auto log = takeLog();
        return std::count(log.begin(), log.end(), "#### Could not serialization dictionary to Data ####");
    };
    EXPECT_EQ(complaints(), 1);
    machine_.advanceBy(std::chrono::hours(1));
    EXPECT_EQ(complaints(), 0) << "time alone brings no retry";
    for (int connects = 0; connects < 5; ++connects) {
        reconnect();
        EXPECT_EQ(complaints(), 1);
    }
    const auto publications = session.takePublications();
    ASSERT_THAT(publications, SizeIs(1)) << "the sound one, once";
    EXPECT_EQ(publications[0].topic, "app/a1b2c3/event/logout/D3V1CE");
}

TEST_F(PublisherTest, QueuesEventsWithoutASessionInTheirOrder) {
    identifyWithoutSession();
    EXPECT_TRUE(publisher().publishEvent("first", Dictionary(), {}));
    EXPECT_TRUE(publisher().publishEvent("second", Dictionary(), {.live = true}));
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    EXPECT_THAT(session.takePublications(), IsEmpty());
    session.connected();
    machine_.runUntilIdle();
    const auto publications = session.takePublications();
    ASSERT_THAT(publications, SizeIs(2));
    EXPECT_EQ(publications[0].topic, "app/a1b2c3/event/first/D3V1CE");
    EXPECT_EQ(publications[1].topic, "app/a1b2c3/event/second/D3V1CE");
    EXPECT_EQ(publications[1].qos, 0);
}

TEST_F(PublisherTest, DropsQueuedEventsWithTheClient) {
    identifyWithoutSession();
    EXPECT_TRUE(publisher().publishEvent("login", Dictionary(), {}));
    const auto center = home_.notificationCenter;
    rooms_.reset();
    center->postNotification(
        {std::string(PushClientDidChangeServerConnectionStateNotification), &manager_, {}});
    machine_.runUntilIdle();
    EXPECT_THAT(sessions_->made, IsEmpty());
}

TEST_F(PublisherTest, LogsTheTopicOfWhatItHandsOver) {
    connect();
    switchLogOn();
    EXPECT_TRUE(publisher().markAsRead("m1"));
    EXPECT_THAT(takeLog(), ElementsAre("Publishing on topic app/a1b2c3/event/seen/m1"));
    identifyWithoutSession();
    rooms_->session.drop();
    (void)takeLog();
    EXPECT_FALSE(publisher().markAsRead("m1"));
    EXPECT_THAT(takeLog(), IsEmpty()) << "nothing is said without a session";
}

TEST_F(PublisherTest, WritesReceiptsWithSixDecimals) {
    auto& session = connect();
    machine_.clock->setDate(dateFromSecondsSince1970(1514800000.0));
    EXPECT_TRUE(publisher().markAsRead("m1"));
    EXPECT_TRUE(publisher().messageDismissed("m1"));
    EXPECT_TRUE(publisher().markAsRead(std::nullopt));
    const auto publications = session.takePublications();
    ASSERT_THAT(publications, SizeIs(3));
    EXPECT_EQ(publications[0].topic, "app/a1b2c3/event/seen/m1");
    EXPECT_EQ(publications[0].payload, "{\n  \"ts\" : \"1514800000000.000000\"\n}");
    EXPECT_EQ(publications[0].qos, 1);
    EXPECT_FALSE(publications[0].retain);
    EXPECT_EQ(publications[1].topic, "app/a1b2c3/event/dismiss/m1");
    EXPECT_EQ(publications[1].payload, publications[0].payload);
    EXPECT_EQ(publications[2].topic, "app/a1b2c3/event/seen/(null)");
}

TEST_F(PublisherTest, ReportsARefusalOnce) {
    auto& session = connect();
    addDelegate();
    EXPECT_FALSE(publisher().publishEvent("a/b", Dictionary(), {}));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailInPublish -5002"));
    EXPECT_FALSE(publisher().publish("bob01", "a/b", " "));
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: FailInPublish -5002"));
    EXPECT_THAT(session.takePublications(), IsEmpty());
    reconnect();
    EXPECT_THAT(session.takePublications(), IsEmpty()) << "nothing invalid is queued";
}

}  // namespace
}  // namespace xel
