#include "XelPushClient/Classes/Core/PersistedKeys.h"
#include "XelPushClient/Classes/PushClientManager.h"
#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Writes down the queues it is asked for.
class RecordingQueues final : public NSOperationQueueFactory {
public:
    explicit RecordingQueues(std::shared_ptr<NSOperationQueueFactory> queues) : queues_(std::move(queues)) {}
    std::shared_ptr<NSOperationQueue> makeOperationQueue(std::string name, int most) override {
        made.push_back(formatted("%@ %d", name, most));
        onMaking();
        return queues_->makeOperationQueue(std::move(name), most);
    }
    std::vector<std::string> made;
    std::function<void()> onMaking = [] {};

private:
    std::shared_ptr<NSOperationQueueFactory> queues_;
};

/// The face, as a host sees it.
class PushClientManagerTest : public testing::Test {
protected:
    ~PushClientManagerTest() override { PushClientManager::setDevelopment(false); }

    void makeManager() {
        Machine ports = machine_.machine();
        ports.operationQueues = queues_;
        manager_ = std::make_unique<PushClientManager>(std::move(ports), home_);
    }

    FakeMachine machine_;
    std::shared_ptr<RecordingQueues> queues_ = std::make_shared<RecordingQueues>(machine_.operationQueues);
    Home home_ = machine_.makeHome();
    std::unique_ptr<PushClientManager> manager_;
};

TEST_F(PushClientManagerTest, StartsDisconnectedAfterOneStateReport) {
    std::vector<const NSObject*> objects;
    home_.notificationCenter->addObserver(
        "PushClientDidChangeServerConnectionStateNotification", nullptr,
        [&](const NSNotification& notification) { objects.push_back(notification.object); });
    makeManager();
    EXPECT_EQ(manager_->connectionState(), PushClientServerDisconnectedState);
    EXPECT_EQ(manager_->connectionStateString(), "Disconnected");
    machine_.runUntilIdle();
    EXPECT_THAT(objects, ElementsAre(manager_.get()));
    EXPECT_TRUE(machine_.network->connections().empty()) << "nothing touches the network yet";
    EXPECT_TRUE(machine_.http->requests().empty());
}

TEST_F(PushClientManagerTest, LetsNothingOutOfItsDestructor) {
    home_.defaults->setObject(kUserIdKey, "alice01");
    home_.defaults->setObject(kDeviceIdKey, "D3V1CE");
    const auto sessions = std::make_shared<ScriptedSessions>();
    Machine ports = machine_.machine();
    ports.sessions = sessions;
    manager_ = std::make_unique<PushClientManager>(std::move(ports), home_);
    manager_->registerApplication("shop", "key", "broker-user", "broker-password");
    manager_->connectToServer();
    machine_.runUntilIdle();
    sessions->latest().throwsWhenClosed = true;
    manager_.reset();
    EXPECT_THROW(machine_.runUntilIdle(), std::bad_alloc) << "it leaves the loop instead";
    EXPECT_NO_THROW(machine_.runUntilIdle());
}

TEST_F(PushClientManagerTest, MakesItsTwoQueues) {
    makeManager();
    EXPECT_THAT(queues_->made, ElementsAre("com.xel.pushClientQueue -1", "XelPushConnectionQueue 1"));
}

TEST_F(PushClientManagerTest, FollowsTheNetworkBeforeItMakesItsQueues) {
    std::vector<std::size_t> followers;
    queues_->onMaking = [&] { followers.push_back(machine_.reachability->startedCount()); };
    makeManager();
    EXPECT_THAT(followers, ElementsAre(1U, 1U));
}

TEST_F(PushClientManagerTest, LoadsThePersistedIdentity) {
    home_.defaults->setObject("userId", "alice01");
    home_.defaults->setObject("PushClientDeviceId", "D3V1CE");
    makeManager();
    EXPECT_EQ(manager_->userId(), "alice01");
    EXPECT_EQ(manager_->deviceId(), "D3V1CE");
    EXPECT_EQ(manager_->getInstallationId(), "D3V1CE");
}

TEST_F(PushClientManagerTest, FollowsApplicationAndNetworkFromTheStart) {
    machine_.reachability->setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    makeManager();
    EXPECT_TRUE(manager_->isServerReachable());
    EXPECT_EQ(manager_->serverNetworkType(), PushClientServerReachabilityCelluarNetworkType);
    EXPECT_EQ(manager_->getConnectionType(), PushClientServerReachabilityCelluarNetworkType);
    machine_.application->didEnterBackground();
    EXPECT_EQ(machine_.application->begunBackgroundTaskNames().size(), 1U);
    manager_->removeAppLifeCyclesFunctionality();
    machine_.application->didEnterBackground();
    EXPECT_EQ(machine_.application->begunBackgroundTaskNames().size(), 1U);
}

TEST_F(PushClientManagerTest, StopsFollowingWhenDestroyed) {
    makeManager();
    EXPECT_EQ(machine_.reachability->startedCount(), 1U);
    manager_.reset();
    EXPECT_EQ(machine_.reachability->startedCount(), 0U);
    machine_.application->didEnterBackground();
    EXPECT_THAT(machine_.application->begunBackgroundTaskNames(), IsEmpty());
    machine_.runUntilIdle();
}

TEST_F(PushClientManagerTest, ShowsItsTopicsOnceApplicationAndUserAreKnown) {
    makeManager();
    manager_->setUserId("alice01");
    manager_->setDeviceId("D3V1CE");
    EXPECT_FALSE(manager_->publicTopic() || manager_->liveTopic() || manager_->brokerTopic());
    manager_->registerApplication("a1b2c3", "key", "user", "password");
    EXPECT_EQ(manager_->appId(), "a1b2c3");
    EXPECT_EQ(manager_->appVersion(), "1.16.1");
    EXPECT_EQ(manager_->brokerClientId(), "a1b2c3/alice01/D3V1CE");
    EXPECT_EQ(manager_->brokerTopicForDevice(), "app/a1b2c3/user/alice01/D3V1CE");
    EXPECT_EQ(manager_->brokerTopic(), "app/a1b2c3/user/alice01/default");
    EXPECT_EQ(manager_->publicTopic(), "app/a1b2c3/user/public/default");
    EXPECT_EQ(manager_->deliveryTopic(), "app/a1b2c3/delivery/alice01/#");
    EXPECT_EQ(manager_->liveTopic(), "app/a1b2c3/user/public/live");
    manager_->removeDefaultPublicTopic();
    EXPECT_THAT(manager_->deviceSubscriptions(), ElementsAre("private/default"));
}

TEST_F(PushClientManagerTest, DoesNothingWithoutARegistrationHandler) {
    makeManager();
    manager_->registerApplication("a1b2c3", "key", "user", "password");
    EXPECT_FALSE(manager_->registerUser("alice01", PushClientRegistrationHandlerBlock()));
    EXPECT_FALSE(manager_->registerUser("alice01", {"news"}, nullptr));
    EXPECT_FALSE(manager_->userId());
    EXPECT_THAT(machine_.application->tokenRequests(), IsEmpty());
}

TEST_F(PushClientManagerTest, KeepsTheRegistrationHandlerForTheOutcome) {
    makeManager();
    std::vector<std::string> outcomes;
    const auto handler = [&](bool registered, const auto& userId, const auto& error) {
        outcomes.push_back(formatted("%d %@ %d", registered, userId, error ? error->code : 0));
    };
    EXPECT_FALSE(manager_->registerUser("ab", handler));
    EXPECT_THAT(outcomes, ElementsAre("0 (null) -5010"));
    manager_->registerApplication("a1b2c3", "key", "user", "password");
    machine_.http->answerAlways("POST", "installations", 200, R"({"id":"D3V1CE"})");
    EXPECT_TRUE(manager_->registerUser("alice01", {"news"}, handler));
    machine_.runUntilIdle();
    EXPECT_EQ(lastOf(outcomes), "1 alice01 0");
    EXPECT_TRUE(manager_->isRegistered());
    EXPECT_EQ(manager_->connectionStateString(), "Connected");
    EXPECT_THAT(manager_->deviceSubscriptions(), ElementsAre("private/default", "news"));
}

TEST_F(PushClientManagerTest, KeepsChannelsThatAHostSubscribesToWhenItIsRegistered) {
    makeManager();
    manager_->registerApplication("a1b2c3", "key", "user", "password");
    manager_->setRegistrationHandler([&](bool, const auto&, const auto&) { manager_->subscribe("late"); });
    machine_.http->answerAlways("POST", "installations", 200, R"({"id":"D3V1CE"})");
    machine_.http->answerAlways("PUT", "installations/D3V1CE", 200, R"({"id":"D3V1CE"})");
    manager_->registerUser("alice01", {"news", "private/orders"});
    machine_.runUntilIdle();
    EXPECT_EQ(manager_->connectionStateString(), "Connected");
    EXPECT_THAT(manager_->deviceSubscriptions(),
                ElementsAre("private/default", "news", "private/orders", "late"));
}

TEST_F(PushClientManagerTest, ManagesDelegatesByTheirOwnType) {
    makeManager();
    const auto heard = std::make_shared<Heard>();
    const auto first = std::make_shared<RecordingDelegate>(heard);
    const auto second = std::make_shared<NotifyingDelegate>(heard, "second");
    manager_->addDelegate(first);
    manager_->setDelegate(second);
    EXPECT_THAT(manager_->delegates(), ElementsAre(first, second));
    EXPECT_EQ(manager_->delegate(), second);
    manager_->subscribe("a/b/c");
    EXPECT_EQ(heard->size(), 2U);
    manager_->setDelegate(nullptr);
    EXPECT_EQ(manager_->delegates().size(), 2U);
    manager_->removeDelegate(first);
    manager_->setDelegate(nullptr);
    EXPECT_THAT(manager_->delegates(), IsEmpty());
}

TEST_F(PushClientManagerTest, ReportsTheLocationOnceItIsSwitchedOn) {
    makeManager();
    manager_->setEnableLocationOnLaunch(false);
    EXPECT_THAT(machine_.locationSource->startedFilters(), IsEmpty());
    manager_->setEnableLocationOnLaunch(true);
    manager_->setEnableLocationOnLaunch(true);
    EXPECT_THAT(machine_.locationSource->startedFilters(), ElementsAre(0.0));
}

TEST_F(PushClientManagerTest, WatchesTheRegionsOfItsLastLaunch) {
    makeManager();
    EXPECT_TRUE(manager_->instanceCoreGeoLocation().startMonitoringRegion({{35.7, 51.4}, 200.0, "g1"}, 0, 0.0,
                                                                          "in", "out"));
    manager_.reset();
    EXPECT_EQ(machine_.locationSource->runningCount(), 0U) << "nothing runs for a client that is gone";
    makeManager();
    EXPECT_EQ(machine_.locationSource->runningCount(), 1U);
    EXPECT_TRUE(manager_->instanceCoreGeoLocation().getRegionWithIdentifier("g1"));
}

TEST_F(PushClientManagerTest, KeepsTwoClientsOfOneProcessApart) {
    makeManager();
    const Home otherHome = machine_.makeHome("other");
    PushClientManager other(machine_.machine(), otherHome);
    bool otherHeard = false;
    machine_.runUntilIdle();
    otherHome.notificationCenter->addObserver("PushClientDidChangeServerConnectionStateNotification", nullptr,
                                              [&](const NSNotification&) { otherHeard = true; });
    manager_->registerApplication("a1b2c3", "key", "user", "password");
    manager_->setUserId("alice01");
    manager_->setDeviceId("D3V1CE");
    manager_->setEnableLog(true);
    manager_->connectToServer();
    machine_.runUntilIdle();
    EXPECT_EQ(manager_->connectionStateString(), "Connected");
    EXPECT_EQ(other.connectionStateString(), "Disconnected");
    EXPECT_FALSE(other.userId() || other.appId() || other.enableLog() || otherHeard);
}

TEST_F(PushClientManagerTest, ChoosesTheEnvironmentOfTheProcess) {
    PushClientManager::setDevelopment(true);
    EXPECT_TRUE(isDevelopment());
    PushClientManager::setDevelopment(false);
    EXPECT_FALSE(isDevelopment());
}

TEST_F(PushClientManagerTest, ShowsWhatItHolds) {
    makeManager();
    EXPECT_FALSE(manager_->apiKey() || manager_->username() || manager_->password());
    EXPECT_EQ(manager_->brokerSession(), nullptr);
    EXPECT_FALSE(manager_->topics());
    EXPECT_EQ(manager_->goingToTopics(), nullptr);
    EXPECT_FALSE(manager_->forceClose());
    EXPECT_EQ(manager_->reconnectTime(), 0.0);
    EXPECT_EQ(manager_->backgroundTask(), UIBackgroundTaskInvalid);

    manager_->registerApplication("a1b2c3", "key", "broker-user", "broker-password");
    EXPECT_EQ(manager_->apiKey(), "key");
    EXPECT_EQ(manager_->username(), "broker-user");
    EXPECT_EQ(manager_->password(), "broker-password");
    manager_->setUserId("alice01");
    manager_->setDeviceId("D3V1CE");
    manager_->connectToServer();
    EXPECT_NE(manager_->brokerSession(), nullptr);
    manager_->subscribe("news");
    EXPECT_THAT(manager_->subscribeMsgIds(), IsEmpty()) << "nothing is asked before the broker is reached";
    EXPECT_THAT(manager_->unSubscribeMsgIds(), IsEmpty());
    EXPECT_EQ(manager_->loopBackAdaptor()->url(), manager_->loopBackAdaptor()->url());
}

TEST_F(PushClientManagerTest, DescribesTheDevice) {
    makeManager();
    EXPECT_EQ(manager_->deviceModel(), "Simulator");
    EXPECT_EQ(manager_->deviceOsVersion(), "12.4");
    machine_.application->setApplicationIconBadgeNumber(3);
    manager_->resetBadge();
    EXPECT_EQ(machine_.application->applicationIconBadgeNumber(), 0);
}

}  // namespace
}  // namespace xel
