#include "tests/unit/Classes/Support/RoomsTest.h"

namespace xel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kUrl = "https://media.test/cat";

class RichNotificationsTest : public RoomsTest {
protected:
    RichNotificationsTest() { switchLogOn(); }

    RichNotifications& rich() { return rooms_->richNotifications; }
    FakeNotificationCenter& center() { return *machine_.notificationCenter; }

    /// Shows the "notification" block.
    void show(Dictionary block) {
        rich().showLocalRichNotificationWithPayload(
            Dictionary{{"id", "m1"}, {"notification", std::move(block)}});
        machine_.runUntilIdle();
    }
    /// The one notification on screen.
    UNNotificationRequest onScreen() {
        EXPECT_EQ(center().onScreen().size(), 1U);
        return center().onScreen().empty() ? UNNotificationRequest() : center().onScreen().front();
    }
    std::vector<std::string> actionsOfTheCategory(const std::string& identifier) {
        std::vector<std::string> actions;
        for (const auto& category : center().categories()) {
            EXPECT_EQ(category.identifier, identifier);
            for (const auto& action : category.actions) {
                actions.push_back(action.identifier + "=" + action.title + "/" +
                                  std::to_string(action.options));
            }
        }
        return actions;
    }
};

TEST_F(RichNotificationsTest, AnActionNeedsTitleAndIdentifier) {
    const auto make = [](std::optional<std::string> title, std::optional<std::string> identifier) {
        return RichNotifications::createNotificationActionWithTitle(title, identifier, 5);
    };
    EXPECT_EQ(make("Yes", "yes"), (UNNotificationAction{"yes", "Yes", 5}));
    EXPECT_EQ(make(" ", " "), (UNNotificationAction{" ", " ", 5})) << "a blank is not empty";
    EXPECT_FALSE(make(std::nullopt, "yes"));
    EXPECT_FALSE(make("", "yes"));
    EXPECT_FALSE(make("Yes", std::nullopt));
    EXPECT_FALSE(make("Yes", ""));
}

TEST_F(RichNotificationsTest, ACategoryKeepsItsUsableActionsInOrder) {
    const Array actions = {
        Dictionary{{"title", "Yes"}, {"id", "yes"}, {"options", 4}},
        Dictionary{{"title", ""}, {"id", "no"}},
        Dictionary{{"title", "No"}},
        Dictionary{{"title", 5}, {"id", "no"}},
        "no dictionary",
        Dictionary{{"title", "Later"}, {"id", "later"}},
        Dictionary{{"title", "More"}, {"id", "more"}, {"options", "many"}},
    };
    rich().createCategoryNotificationWithActions(actions, "ask");
    EXPECT_THAT(actionsOfTheCategory("ask"), ElementsAre("yes=Yes/4", "later=Later/0", "more=More/0"));
}

TEST_F(RichNotificationsTest, ACategoryReplacesEveryOther) {
    center().setNotificationCategories({{"first", {{"a", "A", 0}}}, {"second", {{"b", "B", 0}}}});
    rich().createCategoryNotificationWithActions(Array{Dictionary{{"title", "Yes"}, {"id", "yes"}}}, "ask");
    ASSERT_EQ(center().categories().size(), 1U);
    EXPECT_THAT(actionsOfTheCategory("ask"), ElementsAre("yes=Yes/0"));
}

TEST_F(RichNotificationsTest, WithoutAUsableActionTheEarlierCategoriesStay) {
    const std::vector<UNNotificationCategory> before = {{"first", {{"a", "A", 0}}}};
    center().setNotificationCategories(before);
    const Array usable = {Dictionary{{"title", "Yes"}, {"id", "yes"}}};
    rich().createCategoryNotificationWithActions(std::nullopt, "ask");
    rich().createCategoryNotificationWithActions(usable, std::nullopt);
    rich().createCategoryNotificationWithActions(Array(), "ask");
    rich().createCategoryNotificationWithActions(Array{Dictionary{{"title", "Yes"}, {"id", ""}}}, "ask");
    EXPECT_EQ(center().categories(), before);
}

TEST_F(RichNotificationsTest, ADownloadEndsInAFileWithTheMediaTypesExtension) {
    struct Row {
        std::string mediaType;
        std::string end;
    };
    for (const auto& row :
         std::vector<Row>{{"image", ".jpg"}, {"png", ".png"}, {"Image", ".Image"}, {"../../x", "..._.._x"}}) {
        machine_.urlSession->answer(kUrl, 200, "octets of " + row.mediaType);
        std::optional<std::string> given;
        rich().downloadDataForUrlString(kUrl, row.mediaType,
                                        [&](const std::optional<std::string>& file) { given = file; });
        EXPECT_FALSE(given) << "later, never inside the call";
        machine_.runUntilIdle();
        ASSERT_TRUE(given);
        EXPECT_TRUE(given->ends_with(row.end)) << *given;
        EXPECT_EQ(given->rfind('/'), std::string("/downloads").size()) << "left the folder: " << *given;
        EXPECT_EQ(machine_.files->contents(*given), "octets of " + row.mediaType);
        machine_.files->remove(*given);
        EXPECT_THAT(machine_.files->files(), IsEmpty()) << "nothing else is left";
    }
}

TEST_F(RichNotificationsTest, AFailedDownloadIsLoggedAndGivesNoFile) {
    machine_.urlSession->fail(kUrl, NSURLErrorCode::TimedOut, "it took too long");
    int calls = 0;
    rich().downloadDataForUrlString(kUrl, "image", [&](const std::optional<std::string>& file) {
        ++calls;
        EXPECT_FALSE(file);
    });
    machine_.runUntilIdle();
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(takeLog(), ElementsAre("it took too long"));
}

TEST_F(RichNotificationsTest, AFailedMoveIsIgnoredAndTheNewPathGiven) {
    machine_.urlSession->answer(kUrl, 200, "octets");
    machine_.files->setFailing(true);
    std::optional<std::string> given;
    rich().downloadDataForUrlString(kUrl, "image",
                                    [&](const std::optional<std::string>& file) { given = file; });
    machine_.runUntilIdle();
    ASSERT_TRUE(given);
    EXPECT_TRUE(given->ends_with(".jpg"));
    EXPECT_THAT(takeLog(), IsEmpty());
}

TEST_F(RichNotificationsTest, AnAttachmentIsMadeOfTheFile) {
    machine_.urlSession->answer(kUrl, 200, "octets");
    std::optional<UNNotificationAttachment> given;
    rich().loadAttachmentForUrlString(kUrl, "image", [&](const auto& attachment) { given = attachment; });
    machine_.runUntilIdle();
    ASSERT_TRUE(given);
    EXPECT_EQ(given->identifier, "");
    EXPECT_EQ(machine_.files->contents(given->file), "octets");
}

TEST_F(RichNotificationsTest, AnAttachmentThatCannotBeMadeIsLoggedAndMissing) {
    int calls = 0;
    const auto handler = [&](const std::optional<UNNotificationAttachment>& attachment) {
        ++calls;
        EXPECT_FALSE(attachment);
    };
    machine_.urlSession->fail(kUrl, NSURLErrorCode::TimedOut, "it took too long");
    rich().loadAttachmentForUrlString(kUrl, "image", handler);
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("it took too long", "Invalid attachment file URL"));

    machine_.urlSession->answer(kUrl, 200, "octets");
    machine_.files->setFailing(true);
    rich().loadAttachmentForUrlString(kUrl, "image", handler);
    machine_.runUntilIdle();
    EXPECT_THAT(takeLog(), ElementsAre("Invalid attachment file URL"));
    EXPECT_EQ(calls, 2);
}

TEST_F(RichNotificationsTest, ANotificationHasWhatThePayloadSays) {
    machine_.strings->translate("greeting", "Hallo");
    const Dictionary block{{"title", "greeting"}, {"body", "World"}, {"subtitle", "greeting"},
                           {"sound", "chime"},    {"badge", 3.9},    {"category", "ask"}};
    show(block);
    const auto request = onScreen();
    EXPECT_EQ(request.identifier, "TAVRINCUSTOMRICH");
    EXPECT_EQ(request.content.title, "Hallo");
    EXPECT_EQ(request.content.body, "World");
    EXPECT_EQ(request.content.subtitle, "Hallo");
    EXPECT_EQ(request.content.sound, UNNotificationSound::soundNamed("chime"));
    EXPECT_EQ(request.content.badge, 3);
    EXPECT_EQ(request.content.categoryIdentifier, "ask");
    EXPECT_EQ(request.content.userInfo, block) << "the block alone, not the whole payload";
    EXPECT_THAT(request.content.attachments, IsEmpty());
    EXPECT_THAT(machine_.urlSession->urls(), IsEmpty());
    EXPECT_THAT(takeLog(), ElementsAre("Done ..........."));
}

TEST_F(RichNotificationsTest, WhatThePayloadLacksIsNotSetOrHasItsDefault) {
    for (const auto& payload : {Dictionary(), Dictionary{{"notification", "text"}},
                                Dictionary{{"notification", Dictionary{{"title", 5}, {"badge", "many"}}}}}) {
        rich().showLocalRichNotificationWithPayload(payload);
        machine_.runUntilIdle();
        const auto& content = onScreen().content;
        EXPECT_FALSE(content.title || content.body || content.subtitle || content.categoryIdentifier);
        EXPECT_EQ(content.sound, UNNotificationSound::defaultSound());
        EXPECT_EQ(content.badge, 0);
    }
}

TEST_F(RichNotificationsTest, TheCategoryIsInstalledOnlyWithActions) {
    const Array actions = {Dictionary{{"title", "Yes"}, {"id", "yes"}}};
    show({{"category", "ask"}});
    show({{"actions", actions}});
    EXPECT_THAT(center().categories(), IsEmpty());
    show({{"category", "ask"}, {"actions", actions}});
    EXPECT_THAT(actionsOfTheCategory("ask"), ElementsAre("yes=Yes/0"));
}

TEST_F(RichNotificationsTest, HalfADescriptionOfMediaIsNone) {
    show({{"title", "a"}, {"mediaUrl", kUrl}});
    show({{"title", "b"}, {"mediaType", "image"}});
    show({{"title", "c"}, {"mediaUrl", 5}, {"mediaType", "image"}});
    EXPECT_EQ(onScreen().content.title, "c");
    EXPECT_THAT(machine_.urlSession->urls(), IsEmpty());
}

TEST_F(RichNotificationsTest, MediaIsFetchedFirst) {
    show({{"title", "Cat"}, {"category", "pets"}, {"mediaUrl", kUrl}, {"mediaType", "image"}});
    EXPECT_THAT(center().onScreen(), IsEmpty());
    machine_.urlSession->answer(kUrl, 200, "meow");
    machine_.runUntilIdle();
    const auto& content = onScreen().content;
    EXPECT_EQ(content.title, "Cat");
    ASSERT_EQ(content.attachments.size(), 1U);
    EXPECT_EQ(content.attachments[0].identifier, "pets");
    EXPECT_EQ(machine_.files->contents(content.attachments[0].file), "meow");
}

TEST_F(RichNotificationsTest, WithoutItsMediaItIsStillShown) {
    machine_.urlSession->answer(kUrl, 404, "nothing here");
    show({{"title", "Cat"}, {"mediaUrl", kUrl}, {"mediaType", "image"}});
    EXPECT_EQ(onScreen().content.title, "Cat");
    EXPECT_THAT(onScreen().content.attachments, IsEmpty());
    EXPECT_THAT(machine_.files->files(), IsEmpty());
    (void)takeLog();

    machine_.urlSession->answer(kUrl, 200, "meow");
    machine_.files->setFailing(true);
    show({{"title", "Dog"}, {"mediaUrl", kUrl}, {"mediaType", "image"}});
    EXPECT_EQ(onScreen().content.title, "Dog");
    EXPECT_THAT(takeLog(), ElementsAre("Attachment error Invalid attachment file URL", "Done ..........."));
}

TEST_F(RichNotificationsTest, TheSecondOfTwoIsLeftOnScreen) {
    show({{"title", "first"}});
    show({{"title", "second"}});
    EXPECT_EQ(onScreen().content.title, "second");
    EXPECT_EQ(center().requestCount(), 2U);
}

TEST_F(RichNotificationsTest, MediaThatComesAfterALaterNotificationDoesNotBringTheOlderOneBack) {
    show({{"title", "first"}, {"mediaUrl", kUrl}, {"mediaType", "image"}});
    show({{"title", "second"}});
    machine_.urlSession->answer(kUrl, 200, "meow");
    machine_.runUntilIdle();
    EXPECT_EQ(onScreen().content.title, "second");
    EXPECT_EQ(center().requestCount(), 1U);
}

TEST_F(RichNotificationsTest, OfTwoDownloadsEachIsShownInItsOrder) {
    const std::string other = "https://media.test/dog";
    show({{"title", "first"}, {"mediaUrl", kUrl}, {"mediaType", "image"}});
    show({{"title", "second"}, {"mediaUrl", other}, {"mediaType", "image"}});
    machine_.urlSession->answer(kUrl, 200, "meow");
    machine_.runUntilIdle();
    EXPECT_EQ(onScreen().content.title, "first");
    machine_.urlSession->answer(other, 200, "woof");
    machine_.runUntilIdle();
    EXPECT_EQ(onScreen().content.title, "second");
}

TEST_F(RichNotificationsTest, APartOfTheHostsOwnIsShownLikewise) {
    machine_.strings->translate("body", "Text");
    machine_.files->put("/pictures/cat.png", "meow");
    rich().createMutableLocalNotificationTitle(std::nullopt, "body", std::nullopt, "chime", 2, "pets",
                                               Dictionary{{"key", "value"}}, "/pictures/cat.png");
    const auto& content = onScreen().content;
    EXPECT_FALSE(content.title || content.subtitle);
    EXPECT_EQ(content.body, "Text");
    EXPECT_EQ(content.sound, UNNotificationSound::soundNamed("chime"));
    EXPECT_EQ(content.badge, 2);
    EXPECT_EQ(content.userInfo, (Dictionary{{"key", "value"}}));
    EXPECT_THAT(content.attachments, ElementsAre(UNNotificationAttachment{"pets", "/pictures/cat.png"}));
    rich().createMutableLocalNotificationTitle("T", std::nullopt, std::nullopt, std::nullopt, 0, std::nullopt,
                                               std::nullopt, "/pictures/none.png");
    EXPECT_THAT(takeLog(), ElementsAre("Attachment error Invalid attachment file URL"));
    EXPECT_THAT(onScreen().content.attachments, IsEmpty());
}

TEST_F(RichNotificationsTest, ARefusedRequestIsLogged) {
    center().setRequestError(makeError("UNErrorDomain", 1000, "the server is gone"));
    show({{"title", "a"}});
    EXPECT_THAT(takeLog(), ElementsAre("Error happened the server is gone"));
}

TEST_F(RichNotificationsTest, TheExtensionsContentGetsCategoryAndMedia) {
    UNNotificationRequest request{"remote", {}};
    request.content.title = "Remote";
    request.content.userInfo = Dictionary{{"aps", Dictionary{{"category", "ask"}}},
                                          {"actions", Array{Dictionary{{"title", "Yes"}, {"id", "yes"}}}},
                                          {"mediaUrl", kUrl},
                                          {"mediaType", "video"}};
    std::optional<UNNotificationContent> given;
    machine_.urlSession->answer(kUrl, 200, "film");
    rich().didReceiveNotificationRequest(request, [&](const auto& content) { given = content; });
    EXPECT_THAT(actionsOfTheCategory("ask"), ElementsAre("yes=Yes/0"));
    machine_.runUntilIdle();
    ASSERT_TRUE(given);
    EXPECT_EQ(given->title, "Remote");
    ASSERT_EQ(given->attachments.size(), 1U);
    EXPECT_TRUE(given->attachments[0].file.ends_with(".mp4"));
    EXPECT_THAT(request.content.attachments, IsEmpty()) << "a copy was taken";
    EXPECT_THAT(center().onScreen(), IsEmpty()) << "the system shows it, not the client";
}

TEST_F(RichNotificationsTest, TheExtensionsContentComesWithoutMediaThatFailed) {
    UNNotificationRequest request{"remote", {}};
    request.content.attachments = {{"before", "/before"}};
    request.content.userInfo = Dictionary{{"mediaUrl", kUrl}, {"mediaType", "video"}};
    std::optional<UNNotificationContent> given;
    machine_.urlSession->fail(kUrl, NSURLErrorCode::TimedOut, "it took too long");
    rich().didReceiveNotificationRequest(request, [&](const auto& content) { given = content; });
    machine_.runUntilIdle();
    EXPECT_EQ(given, request.content);
    machine_.urlSession->answer(kUrl, 200, "film");
    rich().didReceiveNotificationRequest(request, nullptr);
    EXPECT_NO_THROW(machine_.runUntilIdle());
}

TEST_F(RichNotificationsTest, TheExtensionsHandlerIsNeverCalledWithoutMedia) {
    const std::vector<Dictionary> table = {
        {},
        {{"mediaUrl", kUrl}},
        {{"mediaType", "image"}},
        {{"aps", Dictionary{{"mediaUrl", kUrl}, {"mediaType", "image"}}}},
        {{"aps", "text"}, {"actions", "text"}, {"mediaUrl", 1}, {"mediaType", 2}},
    };
    for (const auto& userInfo : table) {
        UNNotificationRequest request{"remote", {}};
        request.content.userInfo = userInfo;
        rich().didReceiveNotificationRequest(
            request, [&](const UNNotificationContent&) { ADD_FAILURE() << describeValue(userInfo); });
        machine_.runUntilIdle();
    }
    EXPECT_THAT(machine_.urlSession->urls(), IsEmpty());
}

TEST_F(RichNotificationsTest, NothingIsCalledWhenTheClientIsGone) {
    rich().downloadDataForUrlString(kUrl, "image", [](const auto&) { ADD_FAILURE() << "called"; });
    rich().loadAttachmentForUrlString(kUrl, "image", [](const auto&) { ADD_FAILURE() << "called"; });
    show({{"title", "late"}, {"mediaUrl", kUrl}, {"mediaType", "image"}});
    show({{"title", "shown"}});
    rooms_.reset();
    for (int i = 0; i < 3; ++i) {
        machine_.urlSession->answer(kUrl, 200, "meow");
    }
    machine_.runUntilIdle();
    EXPECT_EQ(onScreen().content.title, "shown");
    EXPECT_THAT(machine_.files->files(), IsEmpty());
}

}  // namespace
}  // namespace xel
