#include <gtest/gtest.h>

#include "XelPushClient/Classes/Topics/EventRequestRules.h"

namespace xel {
namespace {

struct RefusedRequest {
    TopicIdentity identity;
    std::string eventName;
    std::optional<std::string> installationId;
    std::optional<std::string> onSubscribe;
    std::optional<std::string> onUnsubscribe;
};

const TopicIdentity kKnown = {"shop", "alice01", "D3V1CE"};
const TopicIdentity kNoDevice = {"shop", "alice01", std::nullopt};
const TopicIdentity kNoApplication = {std::nullopt, "alice01", "D3V1CE"};
const TopicIdentity kNothing;

TEST(EventRequestRules, ChooseTheTextOfTheLastTestThatFails) {
    const std::vector<RefusedRequest> table = {
        {kKnown, "login", std::nullopt, std::nullopt, std::nullopt},
        {kKnown, "login", "X9", std::nullopt, std::nullopt},
        {kNoDevice, "login", std::nullopt, std::nullopt, std::nullopt},
        {kNoDevice, "login", "X9", std::nullopt, "You are not registered yet..."},
        {kNoApplication, "login", std::nullopt, "You are not initilized yet.",
         "You are not initilized yet ..."},
        {kNoApplication, "login", "X9", "You are not initilized yet.", "You are not initilized yet ..."},
        {kNothing, "login", "X9", "You are not initilized yet.", "You are not registered yet..."},
        {kKnown, "login", "", "registerationId should have value", "registerationId should have value"},
        {kKnown, "login", " \n", "registerationId should have value", "registerationId should have value"},
        {kNothing, "login", " ", "registerationId should have value", "registerationId should have value"},
        {kKnown, "log/in", std::nullopt, "Eventname 'log/in' is not valid.",
         "Eventname 'log/in' is not valid"},
        {kKnown, "log in", "X9", "Eventname 'log in' is not valid.", "Eventname 'log in' is not valid"},
        {kKnown, "", "X9", "Eventname '' is not valid.", "Eventname '' is not valid"},
        {kNothing, "a#b", " ", "Eventname 'a#b' is not valid.", "Eventname 'a#b' is not valid"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(eventSubscribeRefusal(row.identity, row.eventName, row.installationId), row.onSubscribe);
        EXPECT_EQ(eventUnsubscribeRefusal(row.identity, row.eventName, row.installationId),
                  row.onUnsubscribe);
    }
}

}  // namespace
}  // namespace xel
