#include <gtest/gtest.h>

#include "XelPushClient/Classes/Notifications/RegionNotification.h"

namespace xel {
namespace {

TEST(RegionNotification, IsMadeOfTextsOnly) {
    struct Case {
        const char* what;
        Value message;
        std::optional<std::string> title;
        std::optional<std::string> body;
    };
    const Case cases[] = {
        {"a text", "Welcome", {}, "Welcome"},
        {"title and body", Dictionary{{"title", "T"}, {"body", "B"}, {"more", 1}}, "T", "B"},
        {"a body", Dictionary{{"body", "B"}}, {}, "B"},
        {"a title", Dictionary{{"title", "T"}, {"body", 5}}, "T", {}},
        {"nothing", Value(), {}, {}},
        {"an empty text", "", {}, {}},
        {"a blank text", " \t\n", {}, {}},
        {"a number", 5, {}, {}},
        {"a list", Array{"Welcome"}, {}, {}},
        {"an empty dictionary", Dictionary(), {}, {}},
        {"blank texts", Dictionary{{"title", " "}, {"body", ""}}, {}, {}},
    };
    for (const auto& [what, message, title, body] : cases) {
        const auto notification = regionNotification(message, "g1", "enter");
        ASSERT_EQ(notification.has_value(), title || body) << what;
        if (notification) {
            EXPECT_EQ(notification->alertTitle, title) << what;
            EXPECT_EQ(notification->alertBody, body) << what;
            EXPECT_EQ(notification->soundName, UILocalNotificationDefaultSoundName);
            EXPECT_EQ(notification->userInfo,
                      (Dictionary{{"geofence", Dictionary{{"id", "g1"}, {"crossing", "enter"}}}}));
        }
    }
}

}  // namespace
}  // namespace xel
