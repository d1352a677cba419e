#include <functional>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/contract/HTTP/LocalHTTPServer.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/integration/desktop/support/DesktopClient.h"
#include "tests/integration/desktop/support/DesktopSession.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using contract::driveUntil;
using contract::HTTPExchange;
using contract::LocalHTTPServer;
using contract::ReceivedRequest;
using test::AnsweredHost;
using test::DesktopClient;
using test::DesktopSession;
using testing::ElementsAre;
using testing::IsEmpty;

/// A whole client on a real desktop.
class DesktopNotificationsTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = DesktopSession::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        session_ = std::make_unique<DesktopSession>();
        media_ = std::make_unique<LocalHTTPServer>([this](const ReceivedRequest&, HTTPExchange& exchange) {
            return exchange.answer(200, contract::contentsOf(session_->picture()).value_or(""));
        });
        auto options = DesktopClient::options(session_->folder(), session_->busAddress(), loop_);
        options.mediaFromAnyNetwork = true;  // the pictures are on this machine, the service is not
        client_ = std::make_unique<DesktopClient>(options, host_);
    }

    /// Lets the client work until something has come to pass.
    bool becomes(const std::function<bool()>& condition) { return driveUntil(*loop_, condition); }
    void showRich(const std::string& title, bool hasPicture) {
        Dictionary block{{"title", title},
                         {"subtitle", "A cat & a dog"},
                         {"body", "5 < 6, <b>really</b>"},
                         {"category", "ask"},
                         {"actions", Array{Dictionary{{"title", "Yes"}, {"id", "yes"}},
                                           Dictionary{{"title", "Later"}, {"id", "later"}}}}};
        if (hasPicture) {
            block.set("mediaUrl", media_->url() + "/cat");
            block.set("mediaType", "png");
        }
        client_->manager().showLocalRichNotificationWithPayload(
            Dictionary{{"notification", std::move(block)}});
    }

    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::shared_ptr<AnsweredHost> host_ = std::make_shared<AnsweredHost>();
    std::unique_ptr<DesktopSession> session_;
    std::unique_ptr<LocalHTTPServer> media_;
    std::unique_ptr<DesktopClient> client_;
};

TEST_F(DesktopNotificationsTest, APictureIsSeenAndAButtonThatIsClickedReachesTheHost) {
    session_->startXfceNotifyd();
    showRich("A message", true);
    ASSERT_TRUE(becomes([&] { return session_->picturePoints() > 1000; })) << "the picture is not on screen";
    session_->keepScreenshot("xfce4-notifyd");
    // The second of two buttons, in the right half of the window's last row.
    ASSERT_TRUE(becomes([&] {
        if (host_->responses.empty() && session_->windowCount() == 1) {
            session_->click(0.72, 31);
        }
        return !host_->responses.empty();
    }));
    const auto& response = host_->responses.front();
    EXPECT_EQ(response.actionIdentifier, "later");
    EXPECT_EQ(response.notification.requestIdentifier, "TAVRINCUSTOMRICH");
    EXPECT_EQ(*response.notification.userInfo.find("title"), Value("A message"));
}

TEST_F(DesktopNotificationsTest, AnotherServerShowsItTooAndAClickOnItReachesTheHost) {
    session_->startDunst();
    showRich("A message", true);
    ASSERT_TRUE(becomes([&] { return session_->picturePoints() > 10'000; }))
        << "the picture is not on screen";
    session_->keepScreenshot("dunst");
    ASSERT_TRUE(becomes([&] {
        if (host_->responses.empty() && session_->windowCount() == 1) {
            session_->click(0.5, 20);
        }
        return !host_->responses.empty();
    }));
    EXPECT_EQ(host_->responses.front().actionIdentifier, UNNotificationDefaultActionIdentifier);
}

TEST_F(DesktopNotificationsTest, TheSecondOfTwoIsLeftOnScreen) {
    session_->startXfceNotifyd();
    showRich("first", true);
    ASSERT_TRUE(becomes([&] { return session_->picturePoints() > 1000; }));
    showRich("second", false);
    EXPECT_TRUE(becomes([&] { return session_->picturePoints() == 0; }));
    EXPECT_EQ(session_->windowCount(), 1U);
    session_->keepScreenshot("replaced");
}

TEST_F(DesktopNotificationsTest, PlainOnesStandForThemselvesUntilTheyAreCancelled) {
    session_->startXfceNotifyd();
    UILocalNotification notification;
    notification.alertTitle = "Plain";
    notification.alertBody = "text";
    client_->machine().application->presentLocalNotificationNow(notification);
    client_->machine().application->presentLocalNotificationNow(notification);
    EXPECT_TRUE(becomes([&] { return session_->windowCount() == 2; }));
    session_->keepScreenshot("plain");
    client_->manager().resetBadge();
    EXPECT_TRUE(becomes([&] { return session_->windowCount() == 0; }));
}

}  // namespace
}  // namespace xel
