#include <condition_variable>
#include <mutex>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Desktop/NotificationServer.h"
#include "tests/FirstAndLast.h"
#include "tests/integration/desktop/support/MockNotificationServer.h"
#include "tests/integration/desktop/support/PrivateBus.h"

namespace xel {
namespace {

using test::eventually;
using test::MockNotificationServer;
using test::PrivateBus;
using testing::ElementsAre;
using testing::HasSubstr;

class NotificationServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        bus_ = std::make_unique<PrivateBus>();
        makeClient();
    }

    void makeClient() {
        NotificationServerEvents events;
        events.actionWasInvoked = [this](std::uint64_t number, const std::string& key) {
            note("action " + std::to_string(number) + " " + key);
        };
        events.wasClosed = [this](std::uint64_t number) { note("closed " + std::to_string(number)); };
        connection_ = std::make_shared<DBusConnection>(bus_->address(), "test-session");
        server_ = std::make_unique<NotificationServer>(connection_, DesktopHost{"Shop", "org.example.Shop"},
                                                       std::move(events));
    }
    void makeMock(MockNotificationServer::Abilities abilities = {}) {
        mock_.reset();
        mock_ = std::make_unique<MockNotificationServer>(bus_->address(), std::move(abilities));
    }

    void note(std::string text) {
        const std::lock_guard lock(mutex_);
        heard_.push_back(std::move(text));
    }
    std::vector<std::string> heard() {
        const std::lock_guard lock(mutex_);
        return heard_;
    }
    /// Whether that is what was heard in the end.
    bool hears(const std::vector<std::string>& expected) {
        return eventually([&] { return heard() == expected; });
    }

    void order(const std::string& identifier, std::uint64_t number, const std::string& title,
               const std::string& picture = {}) {
        DesktopNotification notification;
        notification.identifier = identifier;
        notification.number = number;
        notification.title = title;
        notification.body = "a <b>body</b>";
        notification.imageFile = picture;
        notification.actions = {{"yes", "Yes", 0}};
        server_->show(std::move(notification), [this, number](const std::optional<NSError>& error) {
            note("shown " + std::to_string(number) +
                 (error ? " failed " + error->localizedFailureReason().value_or("") : ""));
        });
    }

    std::unique_ptr<PrivateBus> bus_;
    std::mutex mutex_;
    std::vector<std::string> heard_;
    std::shared_ptr<DBusConnection> connection_;
    std::unique_ptr<NotificationServer> server_;
    std::unique_ptr<MockNotificationServer> mock_;
};

TEST_F(NotificationServerTest, ANotificationReachesTheServer) {
    makeMock();
    order("one", 1, "Title");
    ASSERT_TRUE(hears({"shown 1"}));
    const auto notify = mock_->notifies().at(0);
    EXPECT_EQ(notify.applicationName, "Shop");
    EXPECT_EQ(notify.replacesId, 0U);
    EXPECT_EQ(notify.summary, "Title");
    EXPECT_EQ(notify.body, "a &lt;b&gt;body&lt;/b&gt;");
    EXPECT_THAT(notify.actions, ElementsAre("default", "", "0", "Yes"));
    EXPECT_EQ(notify.hint("sound-name"), "message-new-instant");
    EXPECT_EQ(notify.hint("desktop-entry"), "org.example.Shop");
}

TEST_F(NotificationServerTest, APlainServerGetsPlainText) {
    makeMock({.capabilities = {"body"}});
    order("one", 1, "Title");
    ASSERT_TRUE(hears({"shown 1"}));
    const auto notify = mock_->notifies().at(0);
    EXPECT_EQ(notify.body, "a body");
    EXPECT_TRUE(notify.actions.empty());
    EXPECT_EQ(notify.hints.count("sound-name"), 0U);
}

TEST_F(NotificationServerTest, TheSameIdentifierReplacesWhatIsOnScreen) {
    makeMock();
    order("one", 1, "first");
    ASSERT_TRUE(hears({"shown 1"}));
    order("two", 2, "other");
    order("one", 3, "second");
    ASSERT_TRUE(hears({"shown 1", "shown 2", "shown 3"}));
    const auto notifies = mock_->notifies();
    EXPECT_EQ(notifies.at(1).replacesId, 0U);
    EXPECT_EQ(notifies.at(2).replacesId, notifies.at(0).id);
}

TEST_F(NotificationServerTest, OrdersInAHurryAreShownInOrderAndReplaceEachOther) {
    makeMock();
    for (std::uint64_t number = 1; number <= 20; ++number) {
        order("one", number, std::to_string(number));
    }
    EXPECT_TRUE(eventually([&] { return heard().size() == 20; }));
    const auto notifies = mock_->notifies();
    EXPECT_EQ(lastOf(notifies).summary, "20");
    for (const auto& notify : notifies) {
        EXPECT_EQ(notify.id, firstOf(notifies).id) << "never two on screen";
    }
}

TEST_F(NotificationServerTest, APictureDoesNotStayBehindItsNotification) {
    makeMock();
    order("one", 1, "first", "/media/cat.png");
    ASSERT_TRUE(hears({"shown 1"}));
    order("one", 2, "second", "/media/dog.png");
    ASSERT_TRUE(hears({"shown 1", "shown 2"}));
    EXPECT_EQ(mock_->notifies().at(1).replacesId, 1U);
    order("one", 3, "third");
    ASSERT_TRUE(hears({"shown 1", "shown 2", "closed 2", "shown 3"}));
    EXPECT_THAT(mock_->closeRequests(), ElementsAre(1)) << "some servers would keep the picture";
    EXPECT_EQ(mock_->notifies().at(2).replacesId, 0U);
    order("one", 4, "fourth");
    ASSERT_TRUE(hears({"shown 1", "shown 2", "closed 2", "shown 3", "shown 4"}));
    EXPECT_EQ(mock_->notifies().at(3).replacesId, 2U);
}

TEST_F(NotificationServerTest, OneThatTheUserClosedIsNotReplacedAnyMore) {
    makeMock();
    order("one", 1, "first");
    ASSERT_TRUE(hears({"shown 1"}));
    mock_->dismiss(mock_->notifies().at(0).id);
    ASSERT_TRUE(hears({"shown 1", "closed 1"}));
    order("one", 2, "second");
    ASSERT_TRUE(hears({"shown 1", "closed 1", "shown 2"}));
    EXPECT_EQ(mock_->notifies().at(1).replacesId, 0U);
}

TEST_F(NotificationServerTest, ActionsComeBackForTheirOwnNotificationOnly) {
    makeMock({.firstId = 40});
    order("one", 7, "first");
    ASSERT_TRUE(hears({"shown 7"}));
    mock_->invoke(39, "0");  // another program's
    mock_->invoke(40, "0");
    mock_->invoke(40, "default");
    ASSERT_TRUE(hears({"shown 7", "action 7 0", "action 7 default"}));
    order("one", 8, "second");
    ASSERT_TRUE(hears({"shown 7", "action 7 0", "action 7 default", "shown 8"}));
    mock_->invoke(40, "0");
    EXPECT_TRUE(hears({"shown 7", "action 7 0", "action 7 default", "shown 8", "action 8 0"}));
}

TEST_F(NotificationServerTest, WithoutAServerEachOrderFailsAtOnce) {
    order("one", 1, "first");
    order("two", 2, "second");
    const std::string failed = " failed org.freedesktop.DBus.Error.ServiceUnknown";
    ASSERT_TRUE(hears({"shown 1" + failed, "shown 2" + failed}));
    makeMock();
    order("one", 3, "third");
    EXPECT_TRUE(hears({"shown 1" + failed, "shown 2" + failed, "shown 3"})) << "a server has come";
}

TEST_F(NotificationServerTest, WithoutABusEachOrderFailsAtOnce) {
    bus_->stop();
    order("one", 1, "first");
    ASSERT_TRUE(eventually([&] { return heard().size() == 1; }));
    EXPECT_THAT(heard().front(), HasSubstr("shown 1 failed"));
    bus_->start();
    makeMock();
    order("one", 2, "second");
    EXPECT_TRUE(eventually([&] { return heard().size() == 2; }));
    EXPECT_EQ(heard().back(), "shown 2");
}

TEST_F(NotificationServerTest, ASuccessorOfADeadServerIsAskedAnewWhatItCan) {
    makeMock();
    order("one", 1, "first");
    ASSERT_TRUE(hears({"shown 1"}));
    mock_.reset();
    ASSERT_TRUE(hears({"shown 1", "closed 1"})) << "what it showed has gone with it";
    makeMock({.capabilities = {"body"}, .firstId = 100});
    order("one", 2, "second");
    ASSERT_TRUE(hears({"shown 1", "closed 1", "shown 2"}));
    const auto notify = mock_->notifies().at(0);
    EXPECT_EQ(notify.replacesId, 0U) << "the id was another server's";
    EXPECT_EQ(notify.body, "a body");
    mock_->invoke(100, "0");
    EXPECT_TRUE(hears({"shown 1", "closed 1", "shown 2", "action 2 0"}));
}

TEST_F(NotificationServerTest, AServerThatDiesBeforeItAnswersFailsTheOrder) {
    makeMock({.isSilent = true});
    order("one", 1, "first");
    ASSERT_TRUE(eventually([&] { return mock_->notifies().size() == 1; }));
    mock_.reset();
    ASSERT_TRUE(eventually([&] { return heard().size() == 1; }));
    EXPECT_THAT(heard().front(), HasSubstr("shown 1 failed"));
}

TEST_F(NotificationServerTest, ABusThatDiesFailsWhatIsUnderWay) {
    makeMock({.isSilent = true});
    order("one", 1, "first");
    ASSERT_TRUE(eventually([&] { return mock_->notifies().size() == 1; }));
    order("one", 2, "second");
    bus_->stop();
    ASSERT_TRUE(eventually([&] { return heard().size() == 2; }));
    for (const auto& text : heard()) {
        EXPECT_THAT(text, HasSubstr("failed"));
    }
}

TEST_F(NotificationServerTest, ARefusalIsAFailureOfThatOrderOnly) {
    makeMock({.isRefusing = true});
    order("one", 1, "first");
    ASSERT_TRUE(hears({"shown 1 failed org.example.Refused"}));
    makeMock();
    order("one", 2, "second");
    EXPECT_TRUE(hears({"shown 1 failed org.example.Refused", "shown 2"}));
}

TEST_F(NotificationServerTest, ASilentServerHoldsNobodyUp) {
    makeMock({.isSilent = true});
    order("one", 1, "first");
    ASSERT_TRUE(eventually([&] { return mock_->notifies().size() == 1; }));
    order("one", 2, "second");
    order("one", 3, "third");
    EXPECT_TRUE(hears({"shown 2"})) << "the third took its place before it went out";
    server_.reset();
    connection_.reset();  // does not wait for the answer
    EXPECT_EQ(mock_->notifies().size(), 1U);
}

TEST_F(NotificationServerTest, EverythingIsWithdrawn) {
    makeMock();
    order("one", 1, "first");
    order("two", 2, "second");
    ASSERT_TRUE(hears({"shown 1", "shown 2"}));
    server_->withdrawEverything();
    EXPECT_TRUE(eventually([&] { return mock_->closeRequests().size() == 2; }));
    EXPECT_TRUE(hears({"shown 1", "shown 2", "closed 1", "closed 2"}));
}

TEST_F(NotificationServerTest, ARefusedOneThatWasWithdrawnTakesNoLaterOneWithIt) {
    makeMock({.isSilent = true});
    order("one", 1, "first");
    ASSERT_TRUE(eventually([&] { return mock_->notifies().size() == 1; }));
    server_->withdrawEverything();
    mock_->refuseAtLast();
    const std::string refused = "shown 1 failed org.example.Refused";
    ASSERT_TRUE(hears({refused}));
    for (const std::uint64_t number : {2U, 3U}) {
        order("one", number, "later");
        ASSERT_TRUE(eventually([&] { return mock_->notifies().size() == number; }));
        mock_->answerAtLast();
    }
    ASSERT_TRUE(hears({refused, "shown 2", "shown 3"}));
    EXPECT_TRUE(mock_->closeRequests().empty());
}

TEST_F(NotificationServerTest, WhatCannotBeSentAsItIsIsSentCleaned) {
    makeMock();
    DesktopNotification notification;
    notification.identifier = "odd";
    notification.title = std::string("nul\0\xFF", 5);
    notification.body = "\xC3(";
    notification.actions = {{"x", std::string("\0", 1), 0}};
    notification.soundName = "\xFF";
    server_->show(std::move(notification), [this](const std::optional<NSError>& error) {
        note(error ? "failed " + error->localizedDescription() : "shown");
    });
    ASSERT_TRUE(hears({"shown"})) << heard().front();
    EXPECT_EQ(mock_->notifies().at(0).summary, "nul\uFFFD");
}

TEST_F(NotificationServerTest, AnIdThatIsGivenTwiceIsTheLaterOnes) {
    makeMock({.isGivingOneId = true});
    order("one", 1, "First");
    ASSERT_TRUE(hears({"shown 1"}));
    order("two", 2, "Second");
    EXPECT_TRUE(hears({"shown 1", "closed 1", "shown 2"}));
    mock_->invoke(1, "0");
    mock_->dismiss(1);
    EXPECT_TRUE(hears({"shown 1", "closed 1", "shown 2", "action 2 0", "closed 2"}));
}

TEST_F(NotificationServerTest, WhatIsOnScreenIsKnownWhenLaterOrdersFail) {
    makeMock({.isSilent = true});
    order("one", 1, "First");
    ASSERT_TRUE(eventually([&] { return mock_->notifies().size() == 1; }));
    mock_->changeHands();
    mock_->refuseCapabilities();
    mock_->answerAtLast();
    ASSERT_TRUE(hears({"shown 1"}));
    order("two", 2, "Second");
    ASSERT_TRUE(hears({"shown 1", "shown 2 failed org.example.Refused"}));
    mock_->invoke(1, "0");
    mock_->dismiss(1);
    EXPECT_TRUE(hears({"shown 1", "shown 2 failed org.example.Refused", "action 1 0", "closed 1"}));
}

}  // namespace
}  // namespace xel
