#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Foundation/Base64URL.h"
#include "XelPushClient/Linux/Push/UnifiedPushRegistration.h"
#include "XelPushClient/Testing/InMemoryUserDefaults.h"

namespace xel {
namespace {

constexpr const char* kDistributor = "org.unifiedpush.Distributor.one";

class UnifiedPushRegistrationTest : public ::testing::Test {
protected:
    std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
    std::shared_ptr<InMemoryUserDefaults> store_ = InMemoryUserDefaults::open(disk_).value();
};

TEST_F(UnifiedPushRegistrationTest, ComesBackAfterARestart) {
    auto made = makeRegistration(kDistributor);
    ASSERT_TRUE(made.isOk());
    made.value().endpoint = "https://push.example/1";
    ASSERT_TRUE(storeRegistration(*store_, made.value()));
    store_.reset();
    store_ = InMemoryUserDefaults::open(disk_).value();
    const auto loaded = loadRegistration(*store_);
    ASSERT_TRUE(loaded.has_value());
    EXPECT_EQ(loaded->token, made.value().token);
    EXPECT_EQ(loaded->distributor, kDistributor);
    EXPECT_EQ(loaded->endpoint, "https://push.example/1");
    EXPECT_EQ(loaded->keys.publicKey(), made.value().keys.publicKey());
    EXPECT_EQ(loaded->keys.authSecret(), made.value().keys.authSecret());
}

TEST_F(UnifiedPushRegistrationTest, IsAnotherOneEachTime) {
    const auto one = makeRegistration(kDistributor).value();
    const auto two = makeRegistration(kDistributor).value();
    EXPECT_EQ(one.token.size(), 36U);
    EXPECT_NE(one.token, two.token);
    EXPECT_NE(one.keys.publicKey(), two.keys.publicKey());
    EXPECT_TRUE(one.endpoint.empty());
}

TEST_F(UnifiedPushRegistrationTest, SaysWhenItCannotBeStored) {
    disk_->setFailingCommits(true);
    EXPECT_FALSE(storeRegistration(*store_, makeRegistration(kDistributor).value()));
}

TEST_F(UnifiedPushRegistrationTest, IsNoneWhenWhatIsStoredIsUnusable) {
    EXPECT_FALSE(loadRegistration(*store_).has_value());
    ASSERT_TRUE(storeRegistration(*store_, makeRegistration(kDistributor).value()));
    const std::string key = "unifiedPushRegistration";
    const Dictionary good = store_->dictionaryForKey(key).value();
    struct Row {
        std::string what;
        std::function<void(Dictionary&)> change;
    };
    const std::vector<Row> table = {
        {"no token", [](Dictionary& d) { d.remove("token"); }},
        {"a token of another kind", [](Dictionary& d) { d.set("token", 5); }},
        {"no distributor", [](Dictionary& d) { d.remove("distributor"); }},
        {"no private key", [](Dictionary& d) { d.remove("privateKey"); }},
        {"a private key of another kind", [](Dictionary& d) { d.set("privateKey", "text"); }},
        {"a private key that is none", [](Dictionary& d) { d.set("privateKey", Data(32, 0)); }},
        {"no secret", [](Dictionary& d) { d.remove("auth"); }},
        {"a short secret", [](Dictionary& d) { d.set("auth", Data(15, 1)); }},
    };
    for (const auto& row : table) {
        Dictionary changed = good;
        row.change(changed);
        store_->setObject(key, changed);
        EXPECT_FALSE(loadRegistration(*store_).has_value()) << row.what;
    }
    store_->setObject(key, "no dictionary");
    EXPECT_FALSE(loadRegistration(*store_).has_value());
    store_->setObject(key, good);
    EXPECT_TRUE(loadRegistration(*store_).has_value());
}

TEST_F(UnifiedPushRegistrationTest, TellsTheServiceHowToSend) {
    const auto keys =
        WebPushKeys::fromStored(*octetsOfBase64URL("q1dXpw3UpT5VOmu_cf_v6ih07Aems3njxI-JWgLcM94"),
                                *octetsOfBase64URL("BTBZMqHH6r4Tts7J_aSIgg"))
            .value();
    const Data token = deviceTokenOf({"secret-token", keys, kDistributor, "https://push.example/1?a=\"b\""});
    EXPECT_EQ(
        std::string(token.begin(), token.end()),
        R"({"endpoint":"https://push.example/1?a=\"b\"",)"
        R"("publicKey":"BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH6SRpkNtoIAiw4",)"
        R"("auth":"BTBZMqHH6r4Tts7J_aSIgg"})");
}

}  // namespace
}  // namespace xel
