#include <gtest/gtest.h>

#include "XelPushClient/Classes/Models/EventMessage.h"

namespace xel {
namespace {

using MaybeId = std::optional<std::string>;

TEST(EventMessage, TakesItsIdFromTheData) {
    const std::vector<std::pair<Value, MaybeId>> table = {
        {Value("e1"), "e1"},
        {Value(""), ""},
        {Value(17), "17"},
        {Value(1.5), "1.5"},
        {Value(true), std::nullopt},
        {Value(nullptr), std::nullopt},
        {Value(Array()), std::nullopt},
    };
    for (const auto& [id, wanted] : table) {
        EXPECT_EQ(EventMessage("login", "X9", Dictionary{{"id", id}}).id, wanted);
    }
}

TEST(EventMessage, HasNoIdWithoutOneInItsData) {
    EXPECT_FALSE(EventMessage("login", "X9", Dictionary{{"key", "e1"}}).id);
    EXPECT_FALSE(EventMessage("login", "X9", std::nullopt).id);
}

TEST(EventMessage, KeepsWhatItWasMadeOf) {
    const EventMessage event("login", "X9", Dictionary{{"price", 3}});
    EXPECT_EQ(event.eventName, "login");
    EXPECT_EQ(event.deviceId, "X9");
    EXPECT_EQ(event.data, (Dictionary{{"price", 3}}));
}

}  // namespace
}  // namespace xel
