#include <stdexcept>

#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using ClientSettingsTest = RoomsTest;

TEST_F(ClientSettingsTest, StartEmpty) {
    auto& settings = rooms_->settings;
    EXPECT_FALSE(settings.appId() || settings.apiKey() || settings.username() || settings.password());
    EXPECT_FALSE(settings.appVersion() || settings.userId() || settings.deviceId() ||
                 rooms_->lastFailure.error());
    EXPECT_FALSE(settings.usingSSLConnection() || settings.launchedByUser());
    EXPECT_FALSE(settings.deliveryChannelEnabeled() || settings.enableLog());
    EXPECT_FALSE(settings.enableLocationOnLaunch() || settings.locationOnLaunchWithDictionary());
    EXPECT_TRUE(settings.userInfo().empty());
}

TEST_F(ClientSettingsTest, AreNotMadeForABackendToWhichTheKeyWouldGoUnencrypted) {
    Endpoints endpoints;
    const auto make = [&] {
        ClientSettings(
            {endpoints, *machine_.clock, *machine_.bundle, machine_.http, machine_.json, *home_.defaults},
            rooms_->coordinator);
    };
    endpoints.kLoopBackSSLAddress = "http://%@/api";
    EXPECT_THROW(make(), std::invalid_argument);
    endpoints.kLoopBackSSLAddress = "https://%@/api";
    EXPECT_NO_THROW(make());
}

TEST_F(ClientSettingsTest, PersistBothIdsAtOnce) {
    rooms_->settings.setUserId("alice01");
    rooms_->settings.setDeviceId("D3V1CE");
    EXPECT_EQ(onDisk("userId"), Value("alice01"));
    EXPECT_EQ(onDisk("PushClientDeviceId"), Value("D3V1CE"));
    rooms_->settings.setUserId(std::nullopt);
    rooms_->settings.setDeviceId(std::nullopt);
    EXPECT_FALSE(onDisk("userId") || onDisk("PushClientDeviceId"));
    EXPECT_FALSE(rooms_->settings.userId() || rooms_->settings.deviceId());
}

TEST_F(ClientSettingsTest, LoadBothIdsOnFirstUseAndKeepThem) {
    home_.defaults->setObject("userId", "alice01");
    home_.defaults->setObject("PushClientDeviceId", "D3V1CE");
    EXPECT_EQ(rooms_->settings.userId(), "alice01");
    EXPECT_EQ(rooms_->settings.deviceId(), "D3V1CE");
    home_.defaults->removeObject("userId");
    home_.defaults->removeObject("PushClientDeviceId");
    EXPECT_EQ(rooms_->settings.userId(), "alice01");
    EXPECT_EQ(rooms_->settings.deviceId(), "D3V1CE");
}

TEST_F(ClientSettingsTest, LeaveTheStoreAloneForTheUserIdHeld) {
    rooms_->settings.setUserId("alice01");
    home_.defaults->removeObject("userId");
    const auto commits = machine_.disk->commitCount();
    rooms_->settings.setUserId("alice01");
    EXPECT_FALSE(home_.defaults->objectForKey("userId"));
    EXPECT_EQ(machine_.disk->commitCount(), commits);
}

TEST_F(ClientSettingsTest, KeepTheIdsHeldWhenTheStoreFails) {
    rooms_->settings.setUserId("alice01");
    rooms_->settings.setDeviceId("D3V1CE");
    machine_.disk->setFailingCommits(true);
    rooms_->settings.setUserId("bob02");
    rooms_->settings.setDeviceId("OTHER");
    EXPECT_EQ(rooms_->settings.userId(), "alice01");
    EXPECT_EQ(rooms_->settings.deviceId(), "D3V1CE");
    rooms_->settings.setUserId(std::nullopt);
    rooms_->settings.setDeviceId(std::nullopt);
    EXPECT_EQ(rooms_->settings.userId(), "alice01");
    EXPECT_EQ(rooms_->settings.deviceId(), "D3V1CE");
}

TEST_F(ClientSettingsTest, ForgetGrantedTopicsForAnotherDeviceIdOnly) {
    rooms_->settings.setDeviceId("D3V1CE");
    home_.defaults->setObject("subscribedTopics", Array{Value("t")});
    rooms_->settings.setDeviceId("D3V1CE");
    EXPECT_TRUE(home_.defaults->objectForKey("subscribedTopics"));
    rooms_->settings.setDeviceId(std::nullopt);
    EXPECT_TRUE(home_.defaults->objectForKey("subscribedTopics"));
    rooms_->settings.setDeviceId("OTHER");
    EXPECT_FALSE(home_.defaults->objectForKey("subscribedTopics"));
}

TEST_F(ClientSettingsTest, CompareTheDeviceIdWithTheStoredOne) {
    home_.defaults->setObject("PushClientDeviceId", "D3V1CE");
    home_.defaults->setObject("subscribedTopics", Array{Value("t")});
    rooms_->settings.setDeviceId("D3V1CE");
    EXPECT_TRUE(home_.defaults->objectForKey("subscribedTopics"));
}

TEST_F(ClientSettingsTest, IgnoreMissingUserInfo) {
    rooms_->settings.setUserInfo(Dictionary{{"tier", "gold"}});
    rooms_->settings.setUserInfo(std::nullopt);
    EXPECT_EQ(rooms_->settings.userInfo(), (Dictionary{{"tier", "gold"}}));
}

TEST_F(ClientSettingsTest, TakeTheClientVersionFromTheBundleUntilOneIsSet) {
    EXPECT_EQ(rooms_->settings.clientVersion(), "2.3.41");
    rooms_->settings.setClientVersion("9.9");
    EXPECT_EQ(rooms_->settings.clientVersion(), "9.9");
    EXPECT_EQ(onDisk("clientVersion"), Value("9.9"));
    EXPECT_EQ(rooms_->settings.getClientVersionFromAppPlist(), "2.3.41");
}

TEST_F(ClientSettingsTest, NameMissingBundleVersions) {
    machine_.bundle->setVersions(std::nullopt, "41");
    EXPECT_EQ(rooms_->settings.clientVersion(), "(null).41");
}

TEST_F(ClientSettingsTest, KeepTheDeliveryChannelEnabledForever) {
    rooms_->settings.setDeliveryChannelEnabeled(false);
    EXPECT_FALSE(rooms_->settings.deliveryChannelEnabeled());
    rooms_->settings.setDeliveryChannelEnabeled(true);
    rooms_->settings.setDeliveryChannelEnabeled(false);
    EXPECT_TRUE(rooms_->settings.deliveryChannelEnabeled());
}

TEST_F(ClientSettingsTest, SayWhenLocationOnLaunchWasSwitchedOn) {
    EXPECT_TRUE(rooms_->settings.setEnableLocationOnLaunch(true));
    EXPECT_EQ(onDisk("enableLocationOnLanuch"), Value(true));
    EXPECT_FALSE(rooms_->settings.setEnableLocationOnLaunch(true));
    EXPECT_FALSE(rooms_->settings.setEnableLocationOnLaunch(false));
    EXPECT_EQ(onDisk("enableLocationOnLanuch"), Value(false));
    EXPECT_TRUE(rooms_->settings.setEnableLocationOnLaunch(true));
}

TEST_F(ClientSettingsTest, PersistTheLocationOptions) {
    const Dictionary options{{"accuracy", 10}};
    rooms_->settings.setLocationOnLaunchWithDictionary(options);
    EXPECT_EQ(onDisk("onLaunchDic"), Value(options));
    EXPECT_EQ(rooms_->settings.locationOnLaunchWithDictionary(), options);
    rooms_->settings.setLocationOnLaunchWithDictionary(std::nullopt);
    EXPECT_FALSE(onDisk("onLaunchDic"));
}

TEST_F(ClientSettingsTest, PersistTheLogSwitch) {
    rooms_->settings.setEnableLog(true);
    EXPECT_TRUE(rooms_->settings.enableLog());
    EXPECT_EQ(onDisk("enableTavrinLogInDebuggingKEY"), Value(true));
}

TEST_F(ClientSettingsTest, MakeTheAdaptorOnceAndSwitchSSLOn) {
    changeApplication([](auto& application) { application.appId = "shop-demo"; });
    rooms_->settings.setUsingSSLConnection(false);
    const auto adaptor = rooms_->settings.loopBackAdaptor();
    EXPECT_TRUE(rooms_->settings.usingSSLConnection());
    EXPECT_EQ(adaptor->url(), "https://shop." + Endpoints().kBrokerAddress + "/api");
    rooms_->settings.setUsingSSLConnection(false);
    EXPECT_EQ(rooms_->settings.loopBackAdaptor(), adaptor);
    EXPECT_FALSE(rooms_->settings.usingSSLConnection());
    rooms_->settings.dropLoopBackAdaptor();
    EXPECT_NE(rooms_->settings.loopBackAdaptor(), adaptor);
    EXPECT_TRUE(rooms_->settings.usingSSLConnection());
}

TEST_F(ClientSettingsTest, ReadTheEnvironmentWhenTheAdaptorIsMade) {
    setDevelopmentEnvironment(true);
    changeApplication([](auto& application) { application.appId = "shop"; });
    EXPECT_EQ(rooms_->settings.loopBackAdaptor()->url(), Endpoints().kLoopBackLocalSSLAddress);
    setDevelopmentEnvironment(false);
    EXPECT_EQ(rooms_->settings.loopBackAdaptor()->url(), Endpoints().kLoopBackLocalSSLAddress);
}

TEST_F(ClientSettingsTest, GiveTheAdaptorTheCurrentApiKeyOnEveryCall) {
    changeApplication([](auto& application) { application.appId = "shop"; });
    for (const std::string key : {"first", "second"}) {
        changeApplication([&](auto& application) { application.apiKey = key; });
        rooms_->settings.loopBackAdaptor()->send("GET", "x", std::nullopt, nullptr, nullptr);
        EXPECT_TRUE(lastOf(machine_.http->requests()).url.ends_with("access_token=" + key));
    }
}

}  // namespace
}  // namespace xel
