#include "XelPushClient/Platform/ForwardingSessionMemory.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ResetTest : public RoomsTest {
protected:
    static constexpr std::array kForgotten = {
        "subscribedTopics", "notificationSettings", "userChannels", "subscribedUserChannels", "messageIds",
        "AppLaunchTime",    "AppLaunchCount",       "userId",       "PushClientDeviceId"};

    void reset() { rooms_->coordinator.reset(); }
};

TEST_F(ResetTest, UnsubscribesAndDisconnectsWhileConnected) {
    rooms_->settings.setDeliveryChannelEnabeled(true);
    connect();
    const auto session = lastOf(sessions_->made);
    rooms_->channels.setTopic("app/a1b2c3/user/public/news", 1);
    rooms_->channels.storeUserChannels();
    session->calls.clear();
    addDelegate();
    reset();
    EXPECT_EQ(firstOf(session->calls),
              "unsubscribe app/a1b2c3/user/alice01/default app/a1b2c3/user/public/news "
              "app/a1b2c3/user/alice01/D3V1CE app/a1b2c3/delivery/alice01/#");
    EXPECT_EQ(session->calls[1], "close");
    EXPECT_TRUE(rooms_->connection.reconnects().forceClose());
    EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedState);
    EXPECT_THAT(takeHeard(), ElementsAre("delegate: ConnectionState")) << "the closing is reported once";
}

TEST_F(ResetTest, ForgetsTheIdentityAndEveryStoredKey) {
    connect();
    for (const auto* key : kForgotten) {
        home_.defaults->setObject(key, "something");
    }
    reset();
    for (const auto* key : kForgotten) {
        EXPECT_FALSE(onDisk(key)) << key;
    }
    auto& settings = rooms_->settings;
    EXPECT_FALSE(settings.userId() || settings.deviceId() || rooms_->session.brokerClientId());
    EXPECT_FALSE(rooms_->session.current() || rooms_->channels.topics);
    EXPECT_FALSE(rooms_->subscriptionRequests.goingToTopics());
}

TEST_F(ResetTest, ForgetsTheSameWithoutAConnectionButTouchesNoSession) {
    identify();
    rooms_->session.createSession();
    rooms_->channels.loadUserChannels();
    const auto session = lastOf(sessions_->made);
    addDelegate();
    reset();
    EXPECT_FALSE(rooms_->settings.userId() || rooms_->settings.deviceId() || rooms_->channels.topics);
    EXPECT_FALSE(rooms_->session.current());
    EXPECT_FALSE(rooms_->connection.reconnects().forceClose());
    for (const auto* key : kForgotten) {
        EXPECT_FALSE(onDisk(key)) << key;
    }
    EXPECT_THAT(session->calls, testing::Not(testing::Contains(testing::StartsWith("unsubscribe"))));
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(ResetTest, KeepsWhatBelongsToTheHost) {
    connect();
    switchLogOn();
    addDelegate();
    auto& settings = rooms_->settings;
    settings.setEnableLocationOnLaunch(true);
    settings.setLocationOnLaunchWithDictionary(Dictionary{{"accuracy", 10}});
    EXPECT_TRUE(rooms_->location.startMonitoringRegion({{35.7, 51.4}, 200.0, "g1"}, 0, 0.0, {}, {}));
    EXPECT_TRUE(rooms_->location.trackMeUntil(3600.0, 10.0));
    settings.setClientVersion("9.9");
    settings.setDeliveryChannelEnabeled(true);
    rooms_->fanout.blocks.messageHandler = [](const auto&) {};
    reset();
    EXPECT_EQ(settings.appId(), "a1b2c3");
    EXPECT_EQ(settings.apiKey(), "key");
    EXPECT_EQ(settings.username(), "broker-user");
    EXPECT_EQ(settings.password(), "broker-password");
    EXPECT_TRUE(settings.enableLog() && settings.enableLocationOnLaunch());
    EXPECT_TRUE(settings.locationOnLaunchWithDictionary());
    EXPECT_TRUE(rooms_->location.getRegionWithIdentifier("g1"));
    EXPECT_EQ(rooms_->location.trackingMeState(), TrackingMeState::kTracking);
    EXPECT_TRUE(onDisk("monitoredRegions") && onDisk("trackUserUntil"));
    EXPECT_EQ(settings.clientVersion(), "9.9");
    EXPECT_TRUE(settings.deliveryChannelEnabeled());
    EXPECT_EQ(rooms_->fanout.delegates.delegates().size(), 1U);
    EXPECT_TRUE(rooms_->fanout.blocks.messageHandler);
}

TEST_F(ResetTest, MakesANewAdaptorAfterwards) {
    identify();
    const auto adaptor = rooms_->settings.loopBackAdaptor();
    reset();
    EXPECT_NE(rooms_->settings.loopBackAdaptor(), adaptor);
}

TEST_F(ResetTest, DeletesTheSessionsMemoryOfTheIdentity) {
    identify();
    rooms_->session.createSession();
    ASSERT_TRUE(home_.sessionMemory->storeGrantedTopics("a1b2c3/alice01/D3V1CE", TopicTable{{"t", 1}}));
    ASSERT_TRUE(home_.sessionMemory->storeGrantedTopics("another", TopicTable{{"t", 1}}));
    reset();
    EXPECT_TRUE(home_.sessionMemory->loadGrantedTopics("a1b2c3/alice01/D3V1CE").value().empty());
    EXPECT_FALSE(home_.sessionMemory->loadGrantedTopics("another").value().empty());
}

TEST_F(ResetTest, DeletesTheMemoryOfAnEarlierLaunchToo) {
    identify();
    ASSERT_FALSE(rooms_->session.brokerClientId());
    ASSERT_TRUE(home_.sessionMemory->storeGrantedTopics("a1b2c3/alice01/D3V1CE", TopicTable{{"t", 1}}));
    reset();
    EXPECT_TRUE(home_.sessionMemory->loadGrantedTopics("a1b2c3/alice01/D3V1CE").value().empty());
}

TEST_F(ResetTest, ForgetsReceivedIds) {
    EXPECT_FALSE(rooms_->messageIds.storeMessageId("m1"));
    reset();
    EXPECT_FALSE(rooms_->messageIds.storeMessageId("m1"));
}

TEST_F(ResetTest, ForgetsTheFormerUsersPreferencesInMemoryToo) {
    identify();
    rooms_->token.deviceToken = Data{1};
    rooms_->channels.updateNotificationSettings("news", "chime", true);
    ASSERT_TRUE(rooms_->channels.notificationSettings);
    reset();
    EXPECT_FALSE(rooms_->channels.notificationSettings);
}

TEST_F(ResetTest, EndsTheRegistration) {
    identify();
    rooms_->token.deviceToken = Data{1};
    ASSERT_TRUE(rooms_->registration.registerDeviceToServer());
    machine_.runUntilIdle();
    machine_.http->answer("PUT", "installations*", 200, R"({"id":"D3V1CE"})");
    machine_.runUntilIdle();
    ASSERT_TRUE(rooms_->registrationState.isRegistered());
    reset();
    EXPECT_FALSE(rooms_->registrationState.isRegistered());
}

TEST_F(ResetTest, SendsNothingOfTheFormerUsersUnderTheNextOne) {
    identify();
    bool hasHostsBlockRun = false;
    rooms_->subscriptions.subscribe({"private/orders"}, {});
    rooms_->subscriptions.subscribeEvent("login", {});
    rooms_->subscriptions.unsubscribe("sport");
    EXPECT_TRUE(rooms_->publisher.publishEvent("logout", Dictionary(), {}));
    rooms_->deferred.enqueueWhenSessionIsConnected([&] { hasHostsBlockRun = true; });
    reset();
    rooms_->settings.setUserId("bob01");
    rooms_->settings.setDeviceId("D2");
    rooms_->subscriptions.subscribe({"private/letters"}, {});
    rooms_->connection.connectToServer();
    auto& session = sessions_->latest();
    session.calls.clear();
    session.connected();
    machine_.runUntilIdle();
    EXPECT_THAT(session.calls, ElementsAre("subscribe app/a1b2c3/user/bob01/default@1 "
                                           "app/a1b2c3/user/bob01/letters@1 app/a1b2c3/user/bob01/D2@1",
                                           "subscribe app/a1b2c3/user/bob01/letters@1"));
    EXPECT_THAT(session.takePublications(), IsEmpty());
    EXPECT_TRUE(hasHostsBlockRun);
}

TEST_F(ResetTest, DropsWhatIsAskedForWhileItEndsTheConnection) {
    connect();
    bool isFirst = true;
    addDelegate([&] {
        if (std::exchange(isFirst, false)) {
            rooms_->subscriptions.subscribe({"private/orders"}, {});
        }
    });
    reset();
    rooms_->settings.setUserId("bob01");
    rooms_->settings.setDeviceId("D2");
    rooms_->connection.connectToServer();
    sessions_->latest().connected();
    machine_.runUntilIdle();
    EXPECT_THAT(sessions_->latest().calls, testing::Not(testing::Contains(testing::HasSubstr("alice01"))));
}

TEST_F(ResetTest, ForgetsTheIdentityAlsoWhenTheStoreCannotBeWritten) {
    identify();
    machine_.disk->setFailingCommits(true);
    reset();
    EXPECT_FALSE(rooms_->settings.userId() || rooms_->settings.deviceId());
    machine_.disk->setFailingCommits(false);
    EXPECT_TRUE(home_.defaults->synchronize());
    EXPECT_FALSE(onDisk("userId") || onDisk("PushClientDeviceId")) << "the next commit stores it";
}

TEST_F(ResetTest, StaysDisconnectedWhenTheHostConnectsOnEveryClosing) {
    connect();
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] {
        if (rooms_->state.value() == PushClientServerDisconnectedState) {
            rooms_->connection.connectToServer();
        }
    };
    reset();
    EXPECT_FALSE(rooms_->session.current());
    EXPECT_EQ(rooms_->state.value(), PushClientServerDisconnectedState);
}

using Steps = std::vector<std::string>;

/// Writes down what is removed and when it is stored.
class WatchedDefaults final : public NSUserDefaults {
public:
    WatchedDefaults(std::shared_ptr<NSUserDefaults> defaults, Steps& steps)
        : defaults_(std::move(defaults)), steps_(steps) {}

    std::optional<Value> objectForKey(std::string_view key) const override {
        return defaults_->objectForKey(key);
    }
    void setObject(std::string_view key, Value value) override {
        steps_.push_back("set " + std::string(key));
        defaults_->setObject(key, std::move(value));
    }
    void removeObject(std::string_view key) override {
        steps_.push_back("remove " + std::string(key));
        defaults_->removeObject(key);
    }
    bool synchronize() override {
        steps_.emplace_back("synchronize");
        return defaults_->synchronize();
    }
    void synchronizeTurn(std::function<void(bool)> done) override {
        defaults_->synchronizeTurn(std::move(done));
    }

private:
    std::shared_ptr<NSUserDefaults> defaults_;
    Steps& steps_;
};

class WatchedMemory final : public ForwardingSessionMemory {
public:
    WatchedMemory(std::shared_ptr<SessionMemory> memory, Steps& steps)
        : ForwardingSessionMemory(std::move(memory)), steps_(steps) {}

    void erase(std::string_view clientId) override {
        steps_.push_back("erase " + std::string(clientId));
        ForwardingSessionMemory::erase(clientId);
    }

private:
    Steps& steps_;
};

class ResetOrderTest : public ResetTest {
protected:
    ResetOrderTest() {
        home_.defaults = std::make_shared<WatchedDefaults>(home_.defaults, steps_);
        home_.sessionMemory = std::make_shared<WatchedMemory>(home_.sessionMemory, steps_);
        Machine ports = machine_.machine();
        ports.sessions = sessions_;
        rooms_ = ClientRooms::make(manager_, std::move(ports), home_);
        rooms_->makeQueues();
    }

    Steps steps_;
};

TEST_F(ResetOrderTest, ErasesTheSessionsMemoryThenEachRoomsKeysAndStoresOnce) {
    connect();
    rooms_->fanout.blocks.serverConnectionStateHandler = [&] { steps_.emplace_back("closed"); };
    steps_.clear();
    reset();
    EXPECT_THAT(steps_, ElementsAre("closed", "erase a1b2c3/alice01/D3V1CE", "remove subscribedTopics",
                                    "remove notificationSettings", "remove userChannels",
                                    "remove subscribedUserChannels", "remove messageIds",
                                    "remove AppLaunchTime", "remove AppLaunchCount", "remove userId",
                                    "remove PushClientDeviceId", "synchronize"));
}

}  // namespace
}  // namespace xel
