#include <new>
#include <stdexcept>

#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BrokerSessionTest : public RoomsTest {
protected:
    BrokerSession& room() { return rooms_->session; }
};

TEST_F(BrokerSessionTest, BuildsTheClientIdFromACompleteIdentity) {
    identify();
    EXPECT_EQ(room().setClientId(), "a1b2c3/alice01/D3V1CE");
    EXPECT_EQ(room().brokerClientId(), std::nullopt) << "it stores nothing";
    rooms_->settings.setDeviceId(" ");
    EXPECT_FALSE(room().setClientId());
    rooms_->settings.setDeviceId("D3V1CE");
    rooms_->settings.setUserId("\n");
    EXPECT_FALSE(room().setClientId());
    rooms_->settings.setUserId("alice01");
    changeApplication([](auto& application) { application.appId.reset(); });
    EXPECT_FALSE(room().setClientId());
}

TEST_F(BrokerSessionTest, MakesOneSessionAndKeepsIt) {
    identify();
    switchLogOn();
    const auto session = room().createSession();
    ASSERT_TRUE(session);
    EXPECT_THAT(takeLog(), ElementsAre("Creating broker session"));
    EXPECT_EQ(room().brokerClientId(), "a1b2c3/alice01/D3V1CE");
    const auto& parameters = sessions_->latest().parameters;
    EXPECT_EQ(parameters.clientId, "a1b2c3/alice01/D3V1CE");
    EXPECT_EQ(parameters.userName, "broker-user");
    EXPECT_EQ(parameters.password, "broker-password");
    EXPECT_EQ(parameters.keepAlive, std::chrono::seconds(180));
    EXPECT_FALSE(parameters.cleanSession);
    EXPECT_NE(sessions_->latest().delegate, nullptr);
    EXPECT_EQ(room().createSession(), session);
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(BrokerSessionTest, MakesNoSessionWithoutCredentials) {
    identify();
    const auto complete = rooms_->settings.application();
    for (const auto field : {&RegisteredApplication::username, &RegisteredApplication::password}) {
        for (const auto& unusable : {std::optional<std::string>(), std::optional<std::string>(" ")}) {
            auto application = complete;
            application.*field = unusable;
            rooms_->settings.setApplication(application);
            EXPECT_FALSE(room().createSession());
        }
    }
    rooms_->settings.setApplication(complete);
    EXPECT_EQ(room().brokerClientId(), "a1b2c3/alice01/D3V1CE");
    rooms_->settings.setDeviceId(std::nullopt);
    EXPECT_FALSE(room().createSession());
    EXPECT_FALSE(room().brokerClientId());
    EXPECT_THAT(sessions_->made, IsEmpty());
}

TEST_F(BrokerSessionTest, ClosesSilentlyWhenTheClientIsDestroyed) {
    connect();
    addDelegate();
    const auto session = lastOf(sessions_->made);
    session->calls.clear();
    rooms_.reset();
    EXPECT_THAT(session->calls, ElementsAre("close"));
    EXPECT_EQ(session->delegate, nullptr);
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(BrokerSessionTest, IsBusyFromTheAttemptToTheEnd) {
    identify();
    EXPECT_FALSE(room().isBusy());
    room().createSession();
    const std::vector<std::pair<MQTTSessionStatus, bool>> table = {
        {MQTTSessionStatus::Created, false},  {MQTTSessionStatus::Connecting, true},
        {MQTTSessionStatus::Connected, true}, {MQTTSessionStatus::Disconnecting, false},
        {MQTTSessionStatus::Closed, false},   {MQTTSessionStatus::Error, false},
    };
    for (const auto& [status, isBusy] : table) {
        sessions_->latest().currentStatus = status;
        EXPECT_EQ(room().isBusy(), isBusy) << static_cast<int>(status);
    }
}

TEST_F(BrokerSessionTest, IsOfAnotherGenerationOnceItIsDropped) {
    connect();
    const auto session = lastOf(sessions_->made);
    const auto generation = room().generation();
    bool wasBusy = false;
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { wasBusy = room().isBusy(); };
    room().drop();
    EXPECT_TRUE(wasBusy) << "nobody may connect with the identity that ends";
    EXPECT_FALSE(room().isBusy());
    EXPECT_NE(room().generation(), generation);
    EXPECT_EQ(session->delegate, nullptr);
    EXPECT_FALSE(room().current());
}

// What the broker may send again is known to the session that acknowledged it.
TEST_F(BrokerSessionTest, IsTheSameAgainWhenItIsDroppedAndTheIdentityIsStillTheSame) {
    connect();
    const auto session = room().current();
    room().drop();
    EXPECT_EQ(room().createSession(), session);
    EXPECT_NE(sessions_->latest().delegate, nullptr);
    EXPECT_EQ(room().createSession(), session) << "it is kept";
}

TEST_F(BrokerSessionTest, IsLetGoInOrderAlsoWhenTheHostThrowsInTheReportOfTheClosing) {
    connect();
    const auto session = lastOf(sessions_->made);
    session->calls.clear();
    rooms_->fanout.blocks.serverConnectionStateHandler = [] { throw std::runtime_error("the host's"); };
    EXPECT_THROW(room().drop(), std::runtime_error);
    EXPECT_THAT(session->calls, ElementsAre("close"));
    EXPECT_EQ(session->delegate, nullptr);
    rooms_->fanout.blocks.serverConnectionStateHandler = nullptr;
    EXPECT_EQ(room().createSession(), session);
}

TEST_F(BrokerSessionTest, IsAnotherWhenAnythingOfTheIdentityIsAnother) {
    connect();
    const auto isAnotherAfter = [this](const auto& change) {
        const auto session = room().current();
        room().drop();
        change();
        return room().createSession() != session;
    };
    EXPECT_TRUE(isAnotherAfter([this] { rooms_->settings.setDeviceId("OTHER"); }));
    EXPECT_TRUE(isAnotherAfter([this] { rooms_->settings.setDeviceId("D3V1CE"); })) << "not the one before";
    EXPECT_TRUE(isAnotherAfter([this] { rooms_->settings.setUserId("bob01"); }));
    EXPECT_TRUE(isAnotherAfter(
        [this] { changeApplication([](auto& application) { application.username = "other"; }); }));
    EXPECT_TRUE(isAnotherAfter(
        [this] { changeApplication([](auto& application) { application.password = "other"; }); }));
    EXPECT_TRUE(isAnotherAfter([this] { room().eraseMemory(); })) << "its outbox is in its memory too";
}

TEST_F(BrokerSessionTest, IsNotTheFormerUsersWhereThereWasNoMemoryForAnotherAtFirst) {
    connect();
    const auto session = room().current();
    room().drop();
    rooms_->settings.setUserId("bob01");
    sessions_->hasMemory = false;
    EXPECT_THROW(room().createSession(), std::bad_alloc);
    sessions_->hasMemory = true;
    EXPECT_NE(room().createSession(), session);
}

TEST_F(BrokerSessionTest, LetsGoOfADroppedOneWhenTheClientEnds) {
    connect();
    const std::weak_ptr<MQTTSession> session = room().current();
    sessions_->made.clear();
    room().drop();
    EXPECT_FALSE(session.expired());
    room().end();
    EXPECT_TRUE(session.expired());
}

TEST_F(BrokerSessionTest, MakesNoOtherOnceTheClientHasEnded) {
    identify();
    room().end();
    EXPECT_TRUE(room().hasEnded());
    EXPECT_FALSE(room().createSession());
    EXPECT_THAT(sessions_->made, IsEmpty());
}

}  // namespace
}  // namespace xel
