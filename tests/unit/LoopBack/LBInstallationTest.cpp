#include "XelPushClient/LoopBack/LBInstallation.h"
#include "tests/unit/LoopBack/LoopBackTest.h"

namespace xel {
namespace {

LBInstallationFields everyField() {
    LBInstallationFields fields;
    fields.deviceToken = Data{0x53, 0x69, 0x00, 0xFF};
    fields.appId = "shop-demo";
    fields.appVersion = "1.16.1";
    fields.userId = "alice01";
    fields.launchCount = 3;
    fields.launchTime = 1514800000000;
    fields.subscriptions = {"public/news", "private/orders"};
    fields.osVersion = "12";
    fields.deviceModel = "Simulator";
    fields.connection = PushClientServerReachabilityWifiNetworkType;
    fields.userInfo = Dictionary{{"tier", "gold"}};
    fields.notificationSettings = Dictionary{{"news", Dictionary{{"alert", true}}}};
    fields.clientVersion = "2.3.41";
    fields.tokenStatus = "ALLOWED";
    return fields;
}

class LBInstallationTest : public LoopBackTest {
protected:
    void save(const LBInstallationFields& fields) {
        LBInstallation::registerDevice(
            *adapter_, fields,
            [this](const std::optional<LBInstallation>& installation) { saved_.push_back(installation); },
            [this](const NSError& error) { failures_.push_back(error); });
    }

    std::vector<std::optional<LBInstallation>> saved_;
};

TEST_F(LBInstallationTest, PostsANewOneWithEveryField) {
    save(everyField());
    EXPECT_EQ(onlyRequest().method, "POST");
    EXPECT_EQ(onlyRequest().url, "https://shop.push.example/api/installations?access_token=key%261");
    EXPECT_EQ(bodyOfOnlyRequest(),
              Value(Dictionary{{"deviceToken", "536900ff"},
                               {"appId", "shop-demo"},
                               {"appVersion", "1.16.1"},
                               {"userId", "alice01"},
                               {"badge", 0},
                               {"launchCount", 3},
                               {"launchTime", std::int64_t{1514800000000}},
                               {"subscriptions", Array{"public/news", "private/orders"}},
                               {"osVersion", "12"},
                               {"deviceModel", "Simulator"},
                               {"connection", 2},
                               {"userInfo", Dictionary{{"tier", "gold"}}},
                               {"notificationSettings", Dictionary{{"news", Dictionary{{"alert", true}}}}},
                               {"clientVersion", "2.3.41"},
                               {"tokenStatus", "ALLOWED"}}));
}

TEST_F(LBInstallationTest, PutsAKnownOneUnderItsIdEncoded) {
    LBInstallationFields fields = everyField();
    fields.registrationId = "X9/ü";
    save(fields);
    EXPECT_EQ(onlyRequest().method, "PUT");
    EXPECT_EQ(onlyRequest().url,
              "https://shop.push.example/api/installations/X9%2F%C3%BC?access_token=key%261");
    const Value body = bodyOfOnlyRequest();
    ASSERT_NE(body.asDictionary(), nullptr);
    ASSERT_TRUE(body.asDictionary()->contains("registrationId"));
    EXPECT_EQ(*body.asDictionary()->find("registrationId"), Value("X9/ü"));
}

TEST_F(LBInstallationTest, LeavesMissingFieldsOut) {
    save(LBInstallationFields());
    const Value body = bodyOfOnlyRequest();
    ASSERT_NE(body.asDictionary(), nullptr);
    for (const char* key : {"registrationId", "appId", "appVersion", "userId", "launchCount",
                            "notificationSettings", "tokenStatus"}) {
        EXPECT_FALSE(body.asDictionary()->contains(key)) << key;
    }
    for (const char* key : {"deviceToken", "badge", "launchTime", "subscriptions", "osVersion", "deviceModel",
                            "connection", "userInfo", "clientVersion"}) {
        EXPECT_TRUE(body.asDictionary()->contains(key)) << key;
    }
}

TEST_F(LBInstallationTest, ComesBackAsTheServerAnswered) {
    transport_->answer("POST", "installations", 200, R"({"id": "X9", "created": true})");
    save(everyField());
    runLoop_->runUntilIdle();
    ASSERT_EQ(saved_.size(), 1U);
    ASSERT_TRUE(saved_.front().has_value());
    EXPECT_EQ(saved_.front()->toDictionary(), (Dictionary{{"id", "X9"}, {"created", true}}));
    EXPECT_EQ(saved_.front()->id(), "X9");
}

TEST_F(LBInstallationTest, IsMissingWhenTheAnswerIsNoObject) {
    for (const char* answer : {"[]", "\"X9\"", "null", ""}) {
        transport_->answer("POST", "installations", 200, answer);
        save(everyField());
        runLoop_->runUntilIdle();
        ASSERT_EQ(saved_.size(), 1U) << answer;
        EXPECT_FALSE(saved_.front().has_value()) << answer;
        saved_.clear();
    }
    EXPECT_TRUE(failures_.empty());
}

TEST_F(LBInstallationTest, FailsWithTheServersRefusal) {
    transport_->answer("PUT", "installations/X9", 404, R"({"error": {"status": 404}})");
    LBInstallationFields fields = everyField();
    fields.registrationId = "X9";
    save(fields);
    runLoop_->runUntilIdle();
    EXPECT_TRUE(saved_.empty());
    ASSERT_EQ(failures_.size(), 1U);
    EXPECT_EQ(failures_.front().localizedRecoverySuggestion(), R"({"error": {"status": 404}})");
}

TEST_F(LBInstallationTest, IsRemovedByItsId) {
    transport_->answer("DELETE", "installations/X9", 200, R"({"count": 1})");
    LBInstallation::unregisterDevice(
        *adapter_, "X9", [this](const Value& response) { answers_.push_back(response); },
        [this](const NSError& error) { failures_.push_back(error); });
    runLoop_->runUntilIdle();
    EXPECT_EQ(onlyRequest().url, "https://shop.push.example/api/installations/X9?access_token=key%261");
    EXPECT_EQ(onlyRequest().body, "");
    ASSERT_EQ(answers_.size(), 1U);
    EXPECT_EQ(answers_.front(), Value(Dictionary{{"count", 1}}));
}

TEST_F(LBInstallationTest, ReportsAFailedRemoval) {
    transport_->fail("DELETE", "installations/X9", NSURLErrorCode::CannotConnectToHost, "no");
    LBInstallation::unregisterDevice(*adapter_, "X9", nullptr,
                                     [this](const NSError& error) { failures_.push_back(error); });
    runLoop_->runUntilIdle();
    ASSERT_EQ(failures_.size(), 1U);
    EXPECT_EQ(failures_.front().code, -1004);
}

struct IdCase {
    const char* name;
    Dictionary record;
    std::optional<std::string> expected;
};

class LBInstallationId : public testing::TestWithParam<IdCase> {};

TEST_P(LBInstallationId, IsTheRecordsTextOrNumber) {
    EXPECT_EQ(LBInstallation(GetParam().record).id(), GetParam().expected);
}

const IdCase kIds[] = {
    {"Text", {{"id", "X9"}}, "X9"},
    {"Integer", {{"id", std::int64_t{9007199254740993}}}, "9007199254740993"},
    {"Fraction", {{"id", 1.5}}, "1.5"},
    {"Absent", {{"_id", "X9"}}, std::nullopt},
    {"Null", {{"id", nullptr}}, std::nullopt},
    {"Boolean", {{"id", true}}, std::nullopt},
    {"Object", {{"id", Dictionary{}}}, std::nullopt},
};

INSTANTIATE_TEST_SUITE_P(LBInstallation, LBInstallationId, testing::ValuesIn(kIds),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace xel
