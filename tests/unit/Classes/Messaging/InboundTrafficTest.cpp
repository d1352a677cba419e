#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kNews = "app/a1b2c3/user/public/news";
constexpr std::string_view kDelivery = "app/a1b2c3/delivery/alice01/m1";
constexpr std::string_view kLogin = "app/a1b2c3/event/login/X9";

class InboundTrafficTest : public RoomsTest {
protected:
    InboundTrafficTest() {
        registerApplication();
        addDelegate();
        switchLogOn();
        (void)takeLog();
    }

    void handle(std::string_view payload, std::string_view topic) {
        rooms_->traffic.newMessage(session_, {payload, topic, 1, false, 1});
    }
    std::string expiring(std::string_view id, double secondsFromNow) {
        const double instant = millisecondsSince1970(machine_.clock->now()) + secondsFromNow * 1000;
        return formatted(R"({"id":"%@","expireTime":%.0f})", id, instant);
    }
    bool isWatched(std::string_view region) {
        return rooms_->location.getRegionWithIdentifier(region).has_value();
    }

    ScriptedSession session_{MQTTSessionParameters()};
};

TEST_F(InboundTrafficTest, TellsKindsApartByTheTopic) {
    handle("u-:-d-:-1", kDelivery);
    handle("{}", kLogin);
    handle(R"({"id":"m1"})", kNews);
    handle(R"({"id":"m2"})", "app/other/delivery/alice01/m1");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Delivery m1", "delegate: Event login",
                                         "delegate: Message m1", "delegate: Message m2"));
}

TEST_F(InboundTrafficTest, LogsADelivery) {
    handle("bob02-:-X9-:-1514800000000", kDelivery);
    EXPECT_THAT(takeLog(), ElementsAre("Got delivery message m1: bob02, X9, 2018-01-01 09:46:40 +0000"));
}

TEST_F(InboundTrafficTest, ReportsEveryCopyOfADelivery) {
    handle("u-:-d-:-1", kDelivery);
    handle("u-:-d-:-1", kDelivery);
    EXPECT_EQ(takeHeard().size(), 2U);
    EXPECT_FALSE(home_.defaults->objectForKey("messageIds"));
}

TEST_F(InboundTrafficTest, DropsUnreadablePublicationsWithoutALine) {
    handle("u-:-d", kDelivery);
    handle("u-:-d-:-1", "app/a1b2c3/delivery/alice01");
    handle("{}", "app/a1b2c3/event/login");
    handle("{}", "app/a1b2c3/event/login/X9/more");
    handle("not JSON", kNews);
    handle("[1,2]", kNews);
    handle("", kNews);
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_THAT(takeLog(), IsEmpty());
    EXPECT_FALSE(home_.defaults->objectForKey("messageIds"));
}

TEST_F(InboundTrafficTest, RecordsWhatItDropsAndWhy) {
    struct Row {
        std::string_view payload;
        std::string_view topic;
        const char* told;
    };
    const std::string late = expiring("m3", -1);
    const Row table[] = {
        {R"({"id":"e1"})", kLogin,
         "inbound event on app/a1b2c3/event/login/X9 with id e1 dropped, duplicate"},
        {R"({"id":"m1"})", kNews,
         "inbound message on app/a1b2c3/user/public/news with id m1 dropped, duplicate"},
        {late, kNews, "inbound message on app/a1b2c3/user/public/news with id m3 dropped, expired"},
        {R"({"id":"m4","messageBody":"BIBB a private word"})", kNews,
         "inbound message on app/a1b2c3/user/public/news with id m4 dropped, reserved"},
        {"no JSON", kNews, "inbound message on app/a1b2c3/user/public/news dropped, unreadable"},
        {"u-:-d", kDelivery, "inbound delivery-report on app/a1b2c3/delivery/alice01/m1 dropped, unreadable"},
        {"{}", "app/a1b2c3/event/login", "inbound event on app/a1b2c3/event/login dropped, unreadable"},
    };
    handle(R"({"id":"e1"})", kLogin);
    handle(R"({"id":"m1"})", kNews);
    EXPECT_THAT(diagnostics_->records(), IsEmpty()) << "nothing was dropped";
    for (const auto& row : table) {
        SCOPED_TRACE(row.told);
        diagnostics_->clear();
        handle(row.payload, row.topic);
        ASSERT_EQ(diagnostics_->records().size(), 1U);
        EXPECT_EQ(describeDiagnostic(diagnostics_->records().front()), row.told);
    }
}

TEST_F(InboundTrafficTest, RecordsWhatTheSessionHasGivenUp) {
    rooms_->traffic.publicationDidFail(session_, R"({"a":"a private word"})", kLogin,
                                       makeError(kMQTTErrorDomain, 109, "given up"));
    ASSERT_EQ(diagnostics_->records().size(), 1U);
    EXPECT_EQ(describeDiagnostic(diagnostics_->records().front()),
              "outbound event on app/a1b2c3/event/login/X9 dropped, given-up: given up");
}

TEST_F(InboundTrafficTest, RecordsWhenADroppedMessageExpired) {
    handle(expiring("m3", -1), kNews);
    const auto dropped = diagnostics_->recordsOf<PublicationDropped>();
    ASSERT_EQ(dropped.size(), 1U);
    EXPECT_EQ(millisecondsSince1970(dropped[0].expireTime.value()),
              millisecondsSince1970(machine_.clock->now()) - 1000);
}

TEST_F(InboundTrafficTest, ReportsAnEventOnceByItsId) {
    handle(R"({"id":"e1"})", kLogin);
    handle(R"({"id":"e1"})", kLogin);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Event login"));
    EXPECT_THAT(takeLog(), ElementsAre(R"(Got event ('login') , deviceId : X9, data : {"id":"e1"})",
                                       "Ignore duplicate event id e1"));
}

TEST_F(InboundTrafficTest, ReportsAnEventWithoutAnIdEveryTime) {
    handle("{}", kLogin);
    handle("{}", kLogin);
    handle("not JSON", kLogin);
    EXPECT_EQ(takeHeard().size(), 3U);
    EXPECT_EQ(lastOf(takeLog()), "Got event ('login') , deviceId : X9, data : (null)");
    EXPECT_FALSE(home_.defaults->objectForKey("messageIds"));
}

TEST_F(InboundTrafficTest, SharesTheIdsBetweenEventsAndMessages) {
    handle(R"({"id":"x"})", kLogin);
    handle(R"({"id":"x"})", kNews);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Event login"));
}

TEST_F(InboundTrafficTest, DropsADuplicateMessage) {
    handle(R"({"id":"m1"})", kNews);
    handle(R"({"id":"m2"})", kNews);
    (void)takeLog();
    handle(R"({"id":"m1"})", kNews);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Message m1", "delegate: Message m2"));
    EXPECT_EQ(lastOf(takeLog()), "Ignore duplicate message id m1");
    EXPECT_THAT(storedTexts("messageIds"), ElementsAre("m1", "m2", "m1"));
}

TEST_F(InboundTrafficTest, ReportsAMessageWithoutAnIdEveryTime) {
    handle("{}", kNews);
    handle("{}", kNews);
    EXPECT_EQ(takeHeard().size(), 2U);
    EXPECT_FALSE(home_.defaults->objectForKey("messageIds"));
}

TEST_F(InboundTrafficTest, DropsARepeatByItsIdAlone) {
    const auto repeat = [this](std::string_view payload, std::string_view topic) {
        rooms_->traffic.newMessage(session_, {payload, topic, 1, false, 1, true});
    };
    repeat(R"({"id":"m1"})", kNews);
    EXPECT_EQ(lastOf(takeLog()), "Ignore duplicate message id m1");
    repeat(R"({"id":"e1"})", kLogin);
    EXPECT_EQ(lastOf(takeLog()), "Ignore duplicate event id e1");
    EXPECT_THAT(takeHeard(), IsEmpty());
    repeat("{}", kNews);
    repeat("{}", kLogin);
    repeat("u-:-d-:-1", kDelivery);
    EXPECT_THAT(takeHeard(),
                ElementsAre("delegate: Message (null)", "delegate: Event login", "delegate: Delivery m1"));
}

TEST_F(InboundTrafficTest, LogsTheMessageItGot) {
    handle(R"({"id":"m1"})", kNews);
    EXPECT_THAT(takeLog(),
                ElementsAre(R"(Got push {"id":"m1","channel":"news","receivedTime":1772357400000})"));
}

TEST_F(InboundTrafficTest, DropsAnExpiredMessageAndThenItsCopiesAsDuplicates) {
    const auto payload = expiring("m1", -1);
    handle(payload, kNews);
    EXPECT_EQ(lastOf(takeLog()), "Ignore expired message 2026-03-01 09:29:59 +0000");
    handle(payload, kNews);
    EXPECT_EQ(lastOf(takeLog()), "Ignore duplicate message id m1");
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(InboundTrafficTest, DeliversAMessageThatExpiresNowOrLater) {
    handle(expiring("now", 0), kNews);
    handle(expiring("later", 1), kNews);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Message now", "delegate: Message later"));
}

TEST_F(InboundTrafficTest, DropsReservedMessages) {
    handle(R"({"id":"m1","messageBody":"BIBB","data":{"geofence":1}})", kNews);
    handle(R"({"id":"m2","messageBody":"BIBBsomething"})", kNews);
    EXPECT_THAT(takeHeard(), IsEmpty());
    EXPECT_EQ(lastOf(takeLog()), "Ignore special backdoor message");
    EXPECT_THAT(storedTexts("messageIds"), ElementsAre("m1", "m2"));
    handle(R"({"id":"m3","messageBody":"bibb"})", kNews);
    handle(R"({"id":"m4","messageBody":" BIBB"})", kNews);
    handle(R"({"id":"m5","messageBody":"BIB"})", kNews);
    EXPECT_EQ(takeHeard().size(), 3U);
}

TEST_F(InboundTrafficTest, TestsExpiryBeforeTheReservedPrefix) {
    handle(R"({"id":"m1","messageBody":"BIBB","expireTime":1})", kNews);
    EXPECT_EQ(lastOf(takeLog()), "Ignore expired message 1970-01-01 00:00:00 +0000");
}

TEST_F(InboundTrafficTest, AppliesConfigurationBeforeTheMessageIsReported) {
    std::vector<bool> wasWatched;
    rooms_->fanout.blocks.messageHandler = [&](const PushClientMessage&) {
        wasWatched.push_back(isWatched("g1"));
    };
    handle(R"({"id":"m1","data":{"geofence":{"id":"g1","center":[35.7,51.4],"r":200}}})",
           "app/a1b2c3/user/alice01/orders");
    EXPECT_THAT(wasWatched, ElementsAre(true));
    handle(R"({"id":"m2"})", kNews);
    EXPECT_TRUE(isWatched("g1"));
}

TEST_F(InboundTrafficTest, AppliesNoConfigurationOfAMessageThatIsDropped) {
    constexpr std::string_view kData = R"("data":{"geofence":{"id":"g1","center":[35.7,51.4],"r":200}}})";
    handle(R"({"id":"m1"})", kNews);
    for (const auto* front :
         {R"({"id":"m1",)", R"({"id":"m2","expireTime":1,)", R"({"id":"m3","messageBody":"BIBB",)"}) {
        handle(std::string(front) + std::string(kData), kNews);
        EXPECT_FALSE(isWatched("g1")) << front;
    }
}

TEST_F(InboundTrafficTest, NamesTheChannelAsTheApplicationDoes) {
    std::vector<std::optional<std::string>> channels;
    rooms_->fanout.blocks.messageHandler = [&](const PushClientMessage& message) {
        channels.push_back(message.channel);
    };
    handle("{}", kNews);
    handle("{}", "app/a1b2c3/user/alice01/orders");
    handle("{}", "too/short");
    EXPECT_THAT(channels, ElementsAre("news", "private/orders", std::nullopt));
}

TEST_F(InboundTrafficTest, DropsWhatTheSessionKnowsAsARepeat) {
    auto& session = connect();
    (void)takeHeard();
    session.publishAgain(R"({"id":"m1"})", "app/a1b2c3/user/public/news");
    EXPECT_THAT(takeHeard(), IsEmpty());
    session.publish(R"({"id":"m2"})", "app/a1b2c3/user/public/news");
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: Message m2"));
}

TEST_F(InboundTrafficTest, ReportsAPublicationThatTheSessionGaveUp) {
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

TEST_F(InboundTrafficTest, HoldsIdsOverATurn) {
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
