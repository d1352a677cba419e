#include "tests/FirstAndLast.h"
#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

class InstallationRecordTest : public RoomsTest {
protected:
    Dictionary savedRecord() {
        rooms_->record.save(nullptr, nullptr);
        const auto body = machine_.json->JSONObjectWithData(lastOf(machine_.http->requests()).body);
        return *body.value().asDictionary();
    }
    static Value under(const Dictionary& record, std::string_view key) {
        const Value* value = record.find(key);
        return value != nullptr ? *value : Value("(missing)");
    }
};

TEST_F(InstallationRecordTest, DescribesTheInstallationArgumentByArgument) {
    identify();
    machine_.clock->setDate(dateFromSecondsSince1970(1514800000));
    rooms_->settings.setLaunchStats();
    rooms_->settings.setUserInfo(Dictionary{{"tier", "gold"}});
    rooms_->token = {Data{0x0A, 0xFF}, "ALLOWED"};
    rooms_->channels.setTopic("app/a1b2c3/user/public/news", 1);
    rooms_->channels.storeUserChannels();
    rooms_->channels.notificationSettings = Dictionary{{"news", Dictionary{{"alert", true}}}};
    machine_.device->setSystemVersion("12.4");
    machine_.device->setMachineIdentifier("iPhone10,3");
    machine_.reachability->setNetwork(true, PushClientServerReachabilityCelluarNetworkType);
    rooms_->settings.setClientVersion("7.7");
    EXPECT_EQ(savedRecord(),
              (Dictionary{{"deviceToken", "0aff"},
                          {"registrationId", "D3V1CE"},
                          {"appId", "a1b2c3"},
                          {"appVersion", "1.16.1"},
                          {"userId", "alice01"},
                          {"badge", 0},
                          {"launchCount", 1},
                          {"launchTime", std::int64_t{1514800000000}},
                          {"subscriptions", Array{Value("default"), Value("public/news")}},
                          {"osVersion", "12.4"},
                          {"deviceModel", "iPhone X"},
                          {"connection", 1},
                          {"userInfo", Dictionary{{"tier", "gold"}}},
                          {"notificationSettings", Dictionary{{"news", Dictionary{{"alert", true}}}}},
                          {"clientVersion", "7.7"},
                          {"tokenStatus", "ALLOWED"}}));
}

TEST_F(InstallationRecordTest, LeavesOutWhatIsMissing) {
    const auto record = savedRecord();
    for (const auto* key : {"registrationId", "appId", "appVersion", "userId", "launchCount",
                            "notificationSettings", "tokenStatus"}) {
        EXPECT_FALSE(record.contains(key)) << key;
    }
    EXPECT_EQ(under(record, "badge"), Value(0));
    EXPECT_EQ(under(record, "launchTime"), Value(0));
    EXPECT_EQ(under(record, "subscriptions"), Value(Array()));
}

TEST_F(InstallationRecordTest, IsNewForABlankDeviceId) {
    identify();
    rooms_->settings.setDeviceId("  ");
    EXPECT_FALSE(savedRecord().contains("registrationId"));
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "POST");
}

TEST_F(InstallationRecordTest, SaysOnceThatALaunchWasNotTheUsers) {
    EXPECT_FALSE(savedRecord().contains("applicationLaunch"));
    rooms_->record.setApplicationLaunch(false);
    EXPECT_EQ(under(savedRecord(), "applicationLaunch"), Value(false));
    EXPECT_FALSE(savedRecord().contains("applicationLaunch")) << "the next save only";
    rooms_->record.setApplicationLaunch(false);
    rooms_->record.setApplicationLaunch(true);
    EXPECT_FALSE(savedRecord().contains("applicationLaunch"));
}

TEST_F(InstallationRecordTest, SendsTheBadgeAsZeroAlways) {
    machine_.application->setApplicationIconBadgeNumber(9);
    EXPECT_EQ(under(savedRecord(), "badge"), Value(0));
}

TEST_F(InstallationRecordTest, GoesBehindTheApiKey) {
    identify();
    savedRecord();
    EXPECT_TRUE(lastOf(machine_.http->requests()).url.ends_with("installations/D3V1CE?access_token=key"));
    rooms_->record.remove("D3V1CE", nullptr, nullptr);
    EXPECT_TRUE(lastOf(machine_.http->requests()).url.ends_with("installations/D3V1CE?access_token=key"));
    EXPECT_EQ(lastOf(machine_.http->requests()).method, "DELETE");
}

TEST_F(InstallationRecordTest, IsUpdatedQuietlyOnlyWithAToken) {
    identify();
    addDelegate();
    rooms_->record.installationUpdateWanted();
    EXPECT_TRUE(machine_.http->requests().empty());
    rooms_->token.deviceToken = Data{1};
    rooms_->record.installationUpdateWanted();
    machine_.http->answer("PUT", "installations/D3V1CE", 404, R"({"error":{"status":404}})");
    machine_.runUntilIdle();
    rooms_->record.installationUpdateWanted();
    machine_.http->answer("PUT", "installations/D3V1CE", 200, R"({"id":"OTHER"})");
    machine_.runUntilIdle();
    EXPECT_EQ(machine_.http->requests().size(), 2U);
    EXPECT_TRUE(heard_->empty());
    EXPECT_EQ(rooms_->settings.deviceId(), "D3V1CE");
}

}  // namespace
}  // namespace xel
