#include <gtest/gtest.h>

#include "sandbox/relay/AccessRules.h"
#include "sandbox/relay/Topics.h"

namespace xel::sandbox {
namespace {

struct AccessCase {
    const char* topic;
    bool allowed;
};

const ClientIdentity kAlice{"shop", "alice01", "D1"};

TEST(AccessRules, AllowsReadingOfOwnPublicAndEventTopicsOnly) {
    const AccessCase cases[] = {
        {"app/shop/user/alice01/D1", true},
        {"app/shop/user/alice01/default", true},
        {"app/shop/user/alice01/#", true},
        {"app/shop/user/alice01/+", true},
        {"app/shop/user/public/news", true},
        {"app/shop/user/public/#", true},
        {"app/shop/delivery/alice01/#", true},
        {"app/shop/delivery/alice01/m1", true},
        {"app/shop/event/login/+", true},
        {"app/shop/event/login/X9", true},
        {"app/shop/event/#", true},
        {"app/shop/user/bob01/D1", false},
        {"app/shop/user/alice012/D1", false},
        {"app/shop/user/+/news", false},
        {"app/shop/user/#", false},
        {"app/shop/delivery/bob01/#", false},
        {"app/shop/delivery/+/m1", false},
        {"app/shop/delivery/public/m1", false},
        {"app/shop/#", false},
        {"app/shop/+/alice01/news", false},
        {"app/shop/publish/alice01/news", false},
        {"app/other/user/alice01/news", false},
        {"app/other/event/login/+", false},
        {"app/+/event/login/+", false},
        {"app/+/user/alice01/news", false},
        {"+/shop/user/alice01/news", false},
        {"service/waiting/alice01/D1", false},
        {"service/waiting/#", false},
        {"#", false},
        {"", false},
        {"$SYS/#", false},
        {"$share/group/app/shop/user/alice01/news", false},
    };
    for (const AccessCase& each : cases) {
        EXPECT_EQ(mayRead(kAlice, each.topic), each.allowed) << each.topic;
    }
}

TEST(AccessRules, AllowsPublishingOfMessagesOwnEventsAndReceiptsOnly) {
    const AccessCase cases[] = {
        {"app/shop/publish/bob01/news", true},
        {"app/shop/publish/public/news", true},
        {"app/shop/event/login/D1", true},
        {"app/shop/event/geo/D1", true},
        {"app/shop/event/seen/m1", true},
        {"app/shop/event/dismiss/m1", true},
        {"app/shop/event/login/D2", false},
        {"app/shop/event/login", false},
        {"app/shop/event//D1", false},
        {"app/shop/event/seen/", false},
        {"app/shop/event/login/D1/more", false},
        {"app/shop/publish/bob01", false},
        {"app/shop/publish/bob01/", false},
        {"app/shop/publish/bob01/a/b", false},
        {"app/shop/user/alice01/news", false},
        {"app/shop/user/public/news", false},
        {"app/shop/delivery/alice01/m1", false},
        {"app/other/publish/bob01/news", false},
        {"app/other/event/login/D1", false},
        {"service/waiting/alice01/D1", false},
        {"relay/shop", false},
        {"", false},
    };
    for (const AccessCase& each : cases) {
        EXPECT_EQ(mayPublish(kAlice, each.topic), each.allowed) << each.topic;
    }
}

TEST(ClientIdentity, TakesExactlyThreeNames) {
    const std::optional<ClientIdentity> alice = parseClientId("shop/alice01/D1");
    ASSERT_TRUE(alice);
    EXPECT_EQ(alice->app, "shop");
    EXPECT_EQ(alice->user, "alice01");
    EXPECT_EQ(alice->device, "D1");

    for (const char* bad :
         {"", "shop", "shop/alice01", "shop//D1", "/alice01/D1", "shop/alice01/", "shop/alice01/D1/more",
          "shop/+/D1", "shop/alice01/#", "shop/al#ce/D1", "shop/a\n/D1"}) {
        EXPECT_FALSE(parseClientId(bad)) << bad;
    }
}

TEST(WaitingTopic, NamesUserAndDevice) {
    const auto device = parseWaitingTopic(waitingTopic("alice01", "D1"));
    ASSERT_TRUE(device);
    EXPECT_EQ(device->user, "alice01");
    EXPECT_EQ(device->device, "D1");
    for (const char* other : {"", "service/waiting", "service/waiting/alice01", "service/waiting//D1",
                              "service/waiting/alice01/D1/more", "service/other/alice01/D1",
                              "app/shop/event/D1", "app/waiting/alice01/D1"}) {
        EXPECT_FALSE(parseWaitingTopic(other)) << other;
    }
}

}  // namespace
}  // namespace xel::sandbox
