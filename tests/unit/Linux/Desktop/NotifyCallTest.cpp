#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Desktop/NotifyCall.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const DesktopHost kHost{"Shop", "org.example.Shop"};

DesktopNotification notification() {
    DesktopNotification notification;
    notification.identifier = "one";
    notification.title = "Title";
    notification.body = "Body";
    return notification;
}

template <class T>
std::optional<T> hint(const NotifyCall& call, const std::string& name) {
    const auto found = call.hints.find(name);
    return found != call.hints.end() ? std::optional(found->second.get<T>()) : std::nullopt;
}

TEST(NotifyCall, CapabilitiesAreReadByName) {
    const auto server = serverCapabilities({"body", "actions", "icon-static", "body-markup"});
    EXPECT_TRUE(server.actions && server.bodyMarkup);
    EXPECT_FALSE(server.sound);
    EXPECT_FALSE(serverCapabilities({"body-hyperlinks", "action-icons"}).actions);
}

TEST(NotifyCall, TheBodyIsWrittenForTheServer) {
    struct Row {
        std::string subtitle;
        std::string body;
        std::string withMarkup;
        std::string without;
    };
    const std::vector<Row> table = {
        {"", "Body", "Body", "Body"},
        {"", "", "", ""},
        {"", "5 < 6 <b>&</b>", "5 &lt; 6 &lt;b&gt;&amp;&lt;/b&gt;", "5 < 6 &"},
        {"Sub", "Body", "<b>Sub</b>\nBody", "Sub\nBody"},
        {"Sub", "", "<b>Sub</b>", "Sub"},
        {"a<b", "", "<b>a&lt;b</b>", "a<b"},
        {"", std::string("nul\0octet\xFF", 10), "nuloctet\uFFFD", "nuloctet\uFFFD"},
    };
    for (const auto& row : table) {
        auto one = notification();
        one.subtitle = row.subtitle;
        one.body = row.body;
        EXPECT_EQ(notifyCall(one, kHost, {.bodyMarkup = true}).body, row.withMarkup);
        EXPECT_EQ(notifyCall(one, kHost, {}).body, row.without);
    }
}

TEST(NotifyCall, TheSummaryIsPlainAndNeverEmpty) {
    auto one = notification();
    one.title = "a < b";
    EXPECT_EQ(notifyCall(one, kHost, {.bodyMarkup = true}).summary, "a < b");
    one.title = "";
    EXPECT_EQ(notifyCall(one, kHost, {}).summary, "Shop");
    one.title = std::string("\0", 1);
    EXPECT_EQ(notifyCall(one, kHost, {}).summary, "Shop");
}

TEST(NotifyCall, TextsThatNoDesktopShowsAreCut) {
    auto one = notification();
    one.title = one.subtitle = one.body = std::string(1'000'000, 'x');
    one.soundName = one.title;
    one.actions = {{"yes", one.title, 0}};
    const std::string line = std::string(1'000, 'x') + "\u2026";
    const std::string body = std::string(10'000, 'x') + "\u2026";
    const auto call = notifyCall(one, kHost, {.actions = true, .sound = true});
    EXPECT_EQ(call.summary, line);
    EXPECT_EQ(call.body, line + "\n" + body);
    EXPECT_THAT(call.actions, ElementsAre("default", "", "0", line));
    EXPECT_EQ(hint<std::string>(call, "sound-name"), line);
}

TEST(NotifyCall, ActionsHaveKeysOfOurOwn) {
    auto one = notification();
    one.actions = {{"default", "Yes", 0}, {"\xFF", "No\xFF", 0}};
    EXPECT_THAT(notifyCall(one, kHost, {.actions = true}).actions,
                ElementsAre("default", "", "0", "Yes", "1", "No\uFFFD"));
    EXPECT_THAT(notifyCall(one, kHost, {}).actions, IsEmpty());
    EXPECT_EQ(actionIdentifierOfKey(one.actions, "default"), "UNNotificationDefaultActionIdentifier");
    EXPECT_EQ(actionIdentifierOfKey(one.actions, "0"), "default");
    EXPECT_EQ(actionIdentifierOfKey(one.actions, "1"), "\xFF");
    for (const std::string key : {"2", "-1", "", "0x", " 0", "99999999999999999999", "Yes"}) {
        EXPECT_EQ(actionIdentifierOfKey(one.actions, key), std::nullopt) << key;
    }
}

TEST(NotifyCall, APictureIsGivenAsAURL) {
    struct Row {
        std::string file;
        std::optional<std::string> hint;
    };
    const std::vector<Row> table = {
        {"", std::nullopt},
        {"/media/cat.png", "file:///media/cat.png"},
        {"/media/my cat%#?.jpg", "file:///media/my%20cat%25%23%3F.jpg"},
        {"/media/cat", "file:///media/cat"},
        {"/media/cat.Image", "file:///media/cat.Image"},
        {"/media/cat.mp4", std::nullopt},
        {"/media/cat.MP3", std::nullopt},
    };
    for (const auto& row : table) {
        auto one = notification();
        one.imageFile = row.file;
        EXPECT_EQ(hint<std::string>(notifyCall(one, kHost, {}), "image-path"), row.hint);
    }
}

TEST(NotifyCall, ASoundIsNamedWhereTheServerHasIt) {
    auto one = notification();
    const ServerCapabilities sounding{.sound = true};
    EXPECT_EQ(hint<std::string>(notifyCall(one, kHost, sounding), "sound-name"), "message-new-instant");
    one.soundName = "chime";
    EXPECT_EQ(hint<std::string>(notifyCall(one, kHost, sounding), "sound-name"), "chime");
    EXPECT_EQ(hint<std::string>(notifyCall(one, kHost, {}), "sound-name"), std::nullopt);
    one.soundName = "../../etc/passwd";
    EXPECT_EQ(hint<std::string>(notifyCall(one, kHost, sounding), "sound-name"), "message-new-instant");
    one.hasSound = false;
    for (const auto& server : {sounding, ServerCapabilities()}) {
        const auto call = notifyCall(one, kHost, server);
        EXPECT_EQ(hint<std::string>(call, "sound-name"), std::nullopt);
        EXPECT_EQ(hint<bool>(call, "suppress-sound"), true);
    }
}

TEST(NotifyCall, TheHostIsNamedByItsDesktopFile) {
    EXPECT_EQ(hint<std::string>(notifyCall(notification(), kHost, {}), "desktop-entry"), "org.example.Shop");
    EXPECT_EQ(hint<std::string>(notifyCall(notification(), {"Shop", ""}, {}), "desktop-entry"), std::nullopt);
}

}  // namespace
}  // namespace xel
