#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Foundation/ProcessNumber.h"
#include "XelPushClient/Testing/FakeMachine.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/unit/Classes/Support/RecordingDelegate.h"

namespace xel {
namespace {

using testing::HasSubstr;

/// One operation as a host calls it, on a client of the fixture below.
struct Operation {
    const char* name;
    std::function<void(PushClientManager&, FakeMachine&)> call;
};

std::vector<Operation> settingsOperations() {
    return {
        {"appId", [](auto& m, auto&) { (void)m.appId(); }},
        {"apiKey", [](auto& m, auto&) { (void)m.apiKey(); }},
        {"username", [](auto& m, auto&) { (void)m.username(); }},
        {"password", [](auto& m, auto&) { (void)m.password(); }},
        {"appVersion", [](auto& m, auto&) { (void)m.appVersion(); }},
        {"userId", [](auto& m, auto&) { (void)m.userId(); }},
        {"deviceId", [](auto& m, auto&) { (void)m.deviceId(); }},
        {"getInstallationId", [](auto& m, auto&) { (void)m.getInstallationId(); }},
        {"setUserId", [](auto& m, auto&) { m.setUserId("bob0001"); }},
        {"setDeviceId", [](auto& m, auto&) { m.setDeviceId("D9"); }},
        {"userInfo", [](auto& m, auto&) { (void)m.userInfo(); }},
        {"setUserInfo",
         [](auto& m, auto&) {
             m.setUserInfo(Dictionary{{"a", 1}});
         }},
        {"clientVersion", [](auto& m, auto&) { (void)m.clientVersion(); }},
        {"setClientVersion", [](auto& m, auto&) { m.setClientVersion("9.9"); }},
        {"getClientVersionFromAppPlist", [](auto& m, auto&) { (void)m.getClientVersionFromAppPlist(); }},
        {"enableLog", [](auto& m, auto&) { (void)m.enableLog(); }},
        {"setEnableLog", [](auto& m, auto&) { m.setEnableLog(true); }},
        {"deliveryChannelEnabeled", [](auto& m, auto&) { (void)m.deliveryChannelEnabeled(); }},
        {"setDeliveryChannelEnabeled", [](auto& m, auto&) { m.setDeliveryChannelEnabeled(true); }},
        {"usingSSLConnection", [](auto& m, auto&) { (void)m.usingSSLConnection(); }},
        {"setUsingSSLConnection", [](auto& m, auto&) { m.setUsingSSLConnection(false); }},
        {"enableLocationOnLaunch", [](auto& m, auto&) { (void)m.enableLocationOnLaunch(); }},
        {"setEnableLocationOnLaunch", [](auto& m, auto&) { m.setEnableLocationOnLaunch(true); }},
        {"locationOnLaunchWithDictionary", [](auto& m, auto&) { (void)m.locationOnLaunchWithDictionary(); }},
        {"setLocationOnLaunchWithDictionary",
         [](auto& m, auto&) {
             m.setLocationOnLaunchWithDictionary(Dictionary{{"a", 1}});
         }},
        {"failureError", [](auto& m, auto&) { (void)m.failureError(); }},
        {"notificationCenter", [](auto& m, auto&) { (void)m.notificationCenter(); }},
        {"deviceModel", [](auto& m, auto&) { (void)m.deviceModel(); }},
        {"deviceOsVersion", [](auto& m, auto&) { (void)m.deviceOsVersion(); }},
        {"getConnectionType", [](auto& m, auto&) { (void)m.getConnectionType(); }},
    };
}

std::vector<Operation> reportingOperations() {
    return {
        {"addDelegate",
         [](auto& m, auto&) {
             m.addDelegate(std::make_shared<RecordingDelegate>(std::make_shared<Heard>()));
         }},
        {"removeDelegate", [](auto& m, auto&) { m.removeDelegate(nullptr); }},
        {"removeAllDelegates", [](auto& m, auto&) { m.removeAllDelegates(); }},
        {"setDelegate", [](auto& m, auto&) { m.setDelegate(nullptr); }},
        {"delegate", [](auto& m, auto&) { (void)m.delegate(); }},
        {"delegates", [](auto& m, auto&) { (void)m.delegates(); }},
        {"setMessageHandler", [](auto& m, auto&) { m.setMessageHandler(nullptr); }},
        {"setMessageUILocalNotificationHandler",
         [](auto& m, auto&) { m.setMessageUILocalNotificationHandler(nullptr); }},
        {"setMessageDeliveredHandler", [](auto& m, auto&) { m.setMessageDeliveredHandler(nullptr); }},
        {"setRegistrationHandler", [](auto& m, auto&) { m.setRegistrationHandler(nullptr); }},
        {"setServerConnectionStateHandler",
         [](auto& m, auto&) { m.setServerConnectionStateHandler(nullptr); }},
        {"setServerReachabilityHandler", [](auto& m, auto&) { m.setServerReachabilityHandler(nullptr); }},
        {"setVerificationHandler", [](auto& m, auto&) { m.setVerificationHandler(nullptr); }},
        {"setVerifiyUserCodeHandler", [](auto& m, auto&) { m.setVerifiyUserCodeHandler(nullptr); }},
    };
}

std::vector<Operation> serviceOperations() {
    return {
        {"registerApplication", [](auto& m, auto&) { m.registerApplication("x", "k", "u", "p"); }},
        {"registerUser", [](auto& m, auto&) { m.registerUser("alice02", {"news"}); }},
        {"registerUser with a handler", [](auto& m, auto&) { m.registerUser("alice02", [](auto&&...) {}); }},
        {"registerAgainWithUserId", [](auto& m, auto&) { m.registerAgainWithUserId("bob0001"); }},
        {"registerDeviceToServer", [](auto& m, auto&) { m.registerDeviceToServer(); }},
        {"registerForAPNsToken", [](auto& m, auto&) { m.registerForAPNsToken(); }},
        {"unregisterUser", [](auto& m, auto&) { m.unregisterUser(); }},
        {"pendingRegisteration", [](auto& m, auto&) { (void)m.pendingRegisteration(); }},
        {"reset", [](auto& m, auto&) { m.reset(); }},
        {"connectToServer", [](auto& m, auto&) { m.connectToServer(); }},
        {"disconnectFromServer", [](auto& m, auto&) { m.disconnectFromServer(); }},
        {"brokerClientId", [](auto& m, auto&) { (void)m.brokerClientId(); }},
        {"setLaunchStats", [](auto& m, auto&) { m.setLaunchStats(); }},
        {"getLaunchCount", [](auto& m, auto&) { (void)m.getLaunchCount(); }},
        {"getLaunchTime", [](auto& m, auto&) { (void)m.getLaunchTime(); }},
        {"launchedByUser", [](auto& m, auto&) { (void)m.launchedByUser(); }},
        {"enqueueWhenSessionIsConnected", [](auto& m, auto&) { m.enqueueWhenSessionIsConnected([] {}); }},
        {"subscribe", [](auto& m, auto&) { m.subscribe("news"); }},
        {"subscribeList", [](auto& m, auto&) { m.subscribeList({"news"}); }},
        {"unsubscribe", [](auto& m, auto&) { m.unsubscribe("news"); }},
        {"subscribeEvent", [](auto& m, auto&) { m.subscribeEvent("login"); }},
        {"unsubscribeEvent", [](auto& m, auto&) { m.unsubscribeEvent("login"); }},
        {"deviceSubscriptions", [](auto& m, auto&) { (void)m.deviceSubscriptions(); }},
        {"updateNotificationSettings",
         [](auto& m, auto&) { m.updateNotificationSettings("news", "bell", true); }},
        {"notificationSettingsFor", [](auto& m, auto&) { (void)m.notificationSettingsFor("news"); }},
        {"publish", [](auto& m, auto&) { m.publish(PushClientMessage()); }},
        {"publish to a channel", [](auto& m, auto&) { m.publish("news", "text"); }},
        {"publish to a user", [](auto& m, auto&) { m.publish("bob0001", "news", "text"); }},
        {"publishEvent", [](auto& m, auto&) { m.publishEvent("login", Dictionary()); }},
        {"markAsRead", [](auto& m, auto&) { m.markAsRead("m1"); }},
        {"messageDismissed", [](auto& m, auto&) { m.messageDismissed("m1"); }},
        {"serializeToDict", [](auto& m, auto&) { (void)m.serializeToDict(Dictionary()); }},
        {"toJsonString", [](auto& m, auto&) { (void)m.toJsonString(Dictionary()); }},
        {"requestVerificationCode", [](auto& m, auto&) { m.requestVerificationCode("alice01"); }},
        {"requestVerificationCode with a block",
         [](auto& m, auto&) { m.requestVerificationCode("alice01", [](auto&&...) {}); }},
        {"verifyUserCode", [](auto& m, auto&) { m.verifyUserCode("alice01", "1"); }},
        {"verifyUserCode with a block",
         [](auto& m, auto&) { m.verifyUserCode("alice01", "1", [](auto&&...) {}); }},
        {"addTag", [](auto& m, auto&) { m.addTag("vip"); }},
        {"removeTag", [](auto& m, auto&) { m.removeTag("vip"); }},
        {"requestMethod", [](auto& m, auto&) { m.requestMethod("GET", "x"); }},
        {"brokerTopicForDevice", [](auto& m, auto&) { (void)m.brokerTopicForDevice(); }},
        {"brokerTopic", [](auto& m, auto&) { (void)m.brokerTopic(); }},
        {"publicTopic", [](auto& m, auto&) { (void)m.publicTopic(); }},
        {"deliveryTopic", [](auto& m, auto&) { (void)m.deliveryTopic(); }},
        {"liveTopic", [](auto& m, auto&) { (void)m.liveTopic(); }},
    };
}

std::vector<Operation> systemOperations() {
    return {
        {"instanceCoreGeoLocation", [](auto& m, auto&) { (void)m.instanceCoreGeoLocation(); }},
        {"publishLocation", [](auto& m, auto&) { m.publishLocation(std::nullopt); }},
        {"checkLocationOnLaunch", [](auto& m, auto&) { m.checkLocationOnLaunch(); }},
        {"startLocationIfTrackingMe", [](auto& m, auto&) { m.startLocationIfTrackingMe(); }},
        {"applicationDidFinishLaunchingWithOptions",
         [](auto& m, auto& f) { m.applicationDidFinishLaunchingWithOptions(*f.application, {}); }},
        {"applicationDidBecomeActive",
         [](auto& m, auto& f) { m.applicationDidBecomeActive(*f.application); }},
        {"applicationWillResignActive",
         [](auto& m, auto& f) { m.applicationWillResignActive(*f.application); }},
        {"applicationWillEnterForeground",
         [](auto& m, auto& f) { m.applicationWillEnterForeground(*f.application); }},
        {"applicationDidEnterBackground",
         [](auto& m, auto& f) { m.applicationDidEnterBackground(*f.application); }},
        {"applicationWillTerminate", [](auto& m, auto& f) { m.applicationWillTerminate(*f.application); }},
        {"removeAppLifeCyclesFunctionality", [](auto& m, auto&) { m.removeAppLifeCyclesFunctionality(); }},
        {"applicationDidRegisterUserNotificationSettings",
         [](auto& m, auto& f) { m.applicationDidRegisterUserNotificationSettings(*f.application); }},
        {"applicationDidRegisterForRemoteNotificationsWithDeviceToken",
         [](auto& m, auto& f) {
             m.applicationDidRegisterForRemoteNotificationsWithDeviceToken(*f.application, Data{1});
         }},
        {"applicationDidFailToRegisterForRemoteNotificationsWithError",
         [](auto& m, auto& f) {
             m.applicationDidFailToRegisterForRemoteNotificationsWithError(*f.application,
                                                                           makeError("d", 1, "x"));
         }},
        {"applicationDidReceiveRemoteNotification",
         [](auto& m, auto& f) { m.applicationDidReceiveRemoteNotification(*f.application, {}); }},
        {"applicationDidReceiveRemoteNotification with a handler",
         [](auto& m, auto& f) { m.applicationDidReceiveRemoteNotification(*f.application, {}, [](int) {}); }},
        {"applicationDidReceiveLocalNotification",
         [](auto& m, auto& f) { m.applicationDidReceiveLocalNotification(*f.application, {}); }},
        {"userNotificationCenterWillPresentNotification",
         [](auto& m, auto& f) {
             m.userNotificationCenterWillPresentNotification(*f.notificationCenter, {}, [](auto) {});
         }},
        {"userNotificationCenterDidReceiveNotificationResponse",
         [](auto& m, auto& f) {
             m.userNotificationCenterDidReceiveNotificationResponse(*f.notificationCenter, {}, [] {});
         }},
        {"deviceToken", [](auto& m, auto&) { (void)m.deviceToken(); }},
        {"tokenStatus", [](auto& m, auto&) { (void)m.tokenStatus(); }},
        {"isNotificationDenied", [](auto& m, auto&) { (void)m.isNotificationDenied(); }},
        {"resetBadge", [](auto& m, auto&) { m.resetBadge(); }},
        {"showLocalRichNotificationWithPayload",
         [](auto& m, auto&) { m.showLocalRichNotificationWithPayload({}); }},
        {"createMutableLocalNotificationTitle",
         [](auto& m, auto&) { m.createMutableLocalNotificationTitle("t", "b", {}, {}, 1, {}, {}, {}); }},
        {"createCategoryNotificationWithActions",
         [](auto& m, auto&) { m.createCategoryNotificationWithActions(Array(), "c"); }},
        {"didReceiveNotificationRequest",
         [](auto& m, auto&) { m.didReceiveNotificationRequest({}, [](const auto&) {}); }},
        {"downloadDataForUrlString",
         [](auto& m, auto&) { m.downloadDataForUrlString("https://h/x", "image", [](const auto&) {}); }},
        {"loadAttachmentForUrlString",
         [](auto& m, auto&) { m.loadAttachmentForUrlString("https://h/x", "image", [](const auto&) {}); }},
        {"brokerSession", [](auto& m, auto&) { (void)m.brokerSession(); }},
        {"forceClose", [](auto& m, auto&) { (void)m.forceClose(); }},
        {"reconnectTime", [](auto& m, auto&) { (void)m.reconnectTime(); }},
        {"backgroundTask", [](auto& m, auto&) { (void)m.backgroundTask(); }},
        {"topics", [](auto& m, auto&) { (void)m.topics(); }},
        {"goingToTopics", [](auto& m, auto&) { (void)m.goingToTopics(); }},
        {"subscribeMsgIds", [](auto& m, auto&) { (void)m.subscribeMsgIds(); }},
        {"unSubscribeMsgIds", [](auto& m, auto&) { (void)m.unSubscribeMsgIds(); }},
        {"notificationSettings", [](auto& m, auto&) { (void)m.notificationSettings(); }},
        {"loopBackAdaptor", [](auto& m, auto&) { (void)m.loopBackAdaptor(); }},
    };
}

std::vector<Operation> everyOperation() {
    std::vector<Operation> all;
    for (const auto& group :
         {settingsOperations(), reportingOperations(), serviceOperations(), systemOperations()}) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

/// Runs the work on another thread and hands on what it throws.
void onAnotherThread(const std::function<void()>& work) {
    std::exception_ptr thrown;
    std::thread([&] {
        try {
            work();
        } catch (...) {
            thrown = std::current_exception();
        }
    }).join();
    if (thrown) {
        std::rethrow_exception(thrown);
    }
}

/// The text of the logic error that the work throws on another thread; empty when it throws none.
std::string refusalOnAnotherThread(const std::function<void()>& work) {
    try {
        onAnotherThread(work);
    } catch (const std::logic_error& refusal) {
        return refusal.what();
    }
    return "";
}

class WrongThreadTest : public testing::Test {
protected:
    WrongThreadTest() {
        manager_ = std::make_unique<PushClientManager>(machine_.machine(), machine_.makeHome());
        manager_->addDelegate(std::make_shared<RecordingDelegate>(heard_));
        manager_->registerApplication("a1b2c3", "key", "broker-user", "broker-password");
        machine_.http->answerAlways("POST", "installations", 200, R"({"id":"D3V1CE"})");
        machine_.http->answerAlways("PUT", "installations*", 200, R"({"id":"D3V1CE"})");
        manager_->registerUser("alice01");
        machine_.runUntilIdle();
        heard_->clear();
    }

    /// What any of the operations would change.
    [[nodiscard]] std::string world() {
        const auto store = machine_.disk->contents("home");
        return formatted("%@ %d %d %d %d %d %d %@", Value(store.settings), machine_.http->requests().size(),
                         machine_.urlSession->urls().size(), machine_.broker->records().size(),
                         machine_.runLoop->hasWorkDue(), machine_.logSink->lines().size(),
                         machine_.application->tokenRequests().size(), manager_->connectionStateString());
    }

    FakeMachine machine_;
    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
    std::unique_ptr<PushClientManager> manager_;
};

TEST_F(WrongThreadTest, RefusesEveryOperationBeforeAnythingChanges) {
    const std::string before = world();
    const auto delegates = manager_->delegates();
    for (const auto& [name, call] : everyOperation()) {
        EXPECT_THAT(refusalOnAnotherThread([&, &act = call] { act(*manager_, machine_); }),
                    HasSubstr("another thread"))
            << name;
        EXPECT_EQ(world(), before) << name;
    }
    EXPECT_EQ(manager_->delegates(), delegates);
    machine_.runUntilIdle();
    EXPECT_EQ(world(), before);
    EXPECT_THAT(*heard_, testing::IsEmpty());
}

TEST_F(WrongThreadTest, RefusesTheLocationServicesOperations) {
    CoreGeoLocation& location = manager_->instanceCoreGeoLocation();
    const CLCircularRegion region{{35.7, 51.4}, 200.0, "g1"};
    const std::vector<std::function<void()>> calls = {
        [&] { (void)location.getRegionWithIdentifier("g1"); },
        [&] { (void)location.monitoredRegions(); },
        [&] { (void)location.startMonitoringRegion(region, 0, 0.0, {}, {}); },
        [&] { location.stopMonitoringRegion(region); },
        [&] { location.requestSingleLocation(nullptr); },
        [&] { (void)location.trackingMeState(); },
        [&] { (void)location.trackMeUntil(60.0, 10.0); },
        [&] { location.stopTracking(); },
    };
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_THAT(refusalOnAnotherThread(calls[i]), HasSubstr("another thread")) << i;
    }
    EXPECT_TRUE(location.monitoredRegions().empty());
    EXPECT_EQ(machine_.locationSource->runningCount(), 0U);
}

TEST_F(WrongThreadTest, AnswersWhatABroadcastTellsOfOnAnyThread) {
    onAnotherThread([&] {
        EXPECT_EQ(manager_->connectionState(), PushClientServerConnectedState);
        EXPECT_EQ(manager_->connectionStateString(), "Connected");
        EXPECT_TRUE(manager_->isServerReachable());
        EXPECT_EQ(manager_->serverNetworkType(), PushClientServerReachabilityWifiNetworkType);
        EXPECT_TRUE(manager_->isRegistered());
    });
}

TEST_F(WrongThreadTest, TakesCrashReportsAndStaticCallsOnAnyThread) {
    onAnotherThread([&] {
        manager_->applicationCrashedWithUserInfo({});
        PushClientManager::setDevelopment(false);
        EXPECT_EQ(PushClientManager::fileExtensionForMediaType("image"), ".jpg");
        EXPECT_TRUE(PushClientManager::createNotificationActionWithTitle("Open", "open", 0));
    });
    machine_.runUntilIdle();
    EXPECT_EQ(machine_.http->requestsTo("POST", "crashReports").size(), 1U);
}

TEST_F(WrongThreadTest, OnlyLogsThatTheClientIsDestroyed) {
    machine_.logSink->clear();
    onAnotherThread([&] { manager_.reset(); });
    ASSERT_EQ(machine_.logSink->lines().size(), 1U);
    EXPECT_THAT(std::string(machine_.logSink->lines().front()), HasSubstr("destroyed on another thread"));
}

TEST_F(WrongThreadTest, IsNotMadeThere) {
    EXPECT_THAT(refusalOnAnotherThread(
                    [&] { (void)PushClientManager(machine_.machine(), machine_.makeHome("other")); }),
                HasSubstr("another thread"));
    EXPECT_EQ(machine_.reachability->startedCount(), 1U);
}

// The thread that drives the loop is its thread: a host may make the client on one and run the loop on
// another.
TEST_F(WrongThreadTest, FollowsTheLoopToTheThreadThatRunsIt) {
    onAnotherThread([&] {
        machine_.runLoop->runUntilIdle();
        EXPECT_EQ(manager_->userId(), "alice01");
    });
    EXPECT_THROW((void)manager_->userId(), std::logic_error);
    machine_.runLoop->runUntilIdle();
    EXPECT_EQ(manager_->userId(), "alice01");
}

}  // namespace
}  // namespace xel
