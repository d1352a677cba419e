#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Desktop/LinuxNotificationCenter.h"
#include "XelPushClient/Testing/RecordingLogSink.h"
#include "tests/contract/Desktop/UNUserNotificationCenterContract.h"
#include "tests/contract/Loop/DrivenLoop.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/DesktopClient.h"
#include "tests/integration/desktop/support/MockNotificationServer.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/unit/Linux/TemporaryEnvironment.h"

namespace xel {
namespace {

using namespace std::chrono_literals;
using contract::driveUntil;
using test::AnsweredHost;
using test::DesktopClient;
using test::MockNotificationServer;
using test::PrivateBus;
using testing::ElementsAre;
using testing::HasSubstr;

/// A whole client whose desktop is a server of the test's.
class ClientOnADesktopTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (const auto reason = PrivateBus::whyMissing(); !reason.empty()) {
            GTEST_SKIP() << reason;
        }
        bus_ = std::make_unique<PrivateBus>();
    }

    void makeMock(MockNotificationServer::Abilities abilities = {}) {
        mock_.reset();
        mock_ = std::make_unique<MockNotificationServer>(bus_->address(), std::move(abilities));
    }
    void makeClient() {
        environment_.set("XDG_CONFIG_HOME", folder_.path() + "/config");
        LinuxOptions options = DesktopClient::options(folder_.path(), bus_->address(), loop_);
        options.desktopId = "org.example.Shop.desktop";
        options.logSink = logSink_;
        client_ = std::make_unique<DesktopClient>(options, host_);
    }
    bool becomes(const std::function<bool()>& condition) { return driveUntil(*loop_, condition); }
    bool wasNotified(std::size_t count) {
        return becomes([&] { return mock_->notifies().size() == count; });
    }
    void showRich(const std::string& title) {
        client_->manager().showLocalRichNotificationWithPayload(Dictionary{
            {"notification", Dictionary{{"title", title},
                                        {"category", "ask"},
                                        {"actions", Array{Dictionary{{"title", "Yes"}, {"id", "yes"}}}}}}});
    }

    contract::TemporaryFolder folder_;
    TemporaryEnvironment environment_;
    std::unique_ptr<PrivateBus> bus_;
    std::unique_ptr<MockNotificationServer> mock_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::shared_ptr<RecordingLogSink> logSink_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<AnsweredHost> host_ = std::make_shared<AnsweredHost>();
    std::unique_ptr<DesktopClient> client_;
};

TEST_F(ClientOnADesktopTest, AnActionReachesTheHostWithWhatItIsAbout) {
    makeMock();
    makeClient();
    showRich("first");
    ASSERT_TRUE(wasNotified(1));
    EXPECT_EQ(mock_->notifies().at(0).hint("desktop-entry"), "org.example.Shop");
    mock_->invoke(1, "0");
    ASSERT_TRUE(becomes([&] { return host_->responses.size() == 1; }));
    EXPECT_EQ(host_->responses[0].actionIdentifier, "yes");
    EXPECT_EQ(*host_->responses[0].notification.userInfo.find("title"), Value("first"));
    showRich("second");
    ASSERT_TRUE(wasNotified(2));
    EXPECT_EQ(mock_->notifies().at(1).replacesId, 1U);
    mock_->invoke(1, "default");
    ASSERT_TRUE(becomes([&] { return host_->responses.size() == 2; }));
    EXPECT_EQ(host_->responses[1].actionIdentifier, UNNotificationDefaultActionIdentifier);
    EXPECT_EQ(*host_->responses[1].notification.userInfo.find("title"), Value("second"));
}

TEST_F(ClientOnADesktopTest, APlainNotificationIsShownAndTakenAway) {
    makeMock();
    makeClient();
    UILocalNotification notification;
    notification.alertTitle = "Plain";
    notification.alertBody = "text";
    notification.soundName = std::string(UILocalNotificationDefaultSoundName);
    notification.userInfo = Dictionary{{"key", "value"}};
    client_->machine().application->presentLocalNotificationNow(notification);
    client_->machine().application->presentLocalNotificationNow(notification);
    ASSERT_TRUE(wasNotified(2));
    const auto notifies = mock_->notifies();
    EXPECT_EQ(notifies[0].summary, "Plain");
    EXPECT_EQ(notifies[0].body, "text");
    EXPECT_EQ(notifies[0].hint("sound-name"), "message-new-instant");
    EXPECT_EQ(notifies[1].replacesId, 0U) << "each stands for itself";
    mock_->invoke(notifies[1].id, "default");
    ASSERT_TRUE(becomes([&] { return host_->responses.size() == 1; }));
    EXPECT_EQ(host_->responses[0].notification.userInfo, notification.userInfo);
    client_->machine().application->cancelAllLocalNotifications();
    EXPECT_TRUE(becomes([&] { return mock_->closeRequests().size() == 2; }));
}

TEST_F(ClientOnADesktopTest, AMissingServerIsToldOnceUntilOneHasCome) {
    makeClient();
    // One, so that none is still under way when there is somebody.
    showRich("nobody");
    ASSERT_TRUE(becomes([&] { return !logSink_->lines().empty(); }));
    makeMock();
    showRich("somebody");
    ASSERT_TRUE(wasNotified(1));
    mock_.reset();
    for (int i = 0; i < 3; ++i) {
        showRich("nobody");
    }
    EXPECT_TRUE(becomes([&] { return logSink_->lines().size() == 2; }));
    for (const auto& line : logSink_->lines()) {
        EXPECT_THAT(line, HasSubstr("Notifications are not shown"));
    }
}

TEST_F(ClientOnADesktopTest, OneThatIsReplacedBeforeItWasShownIsNoSignOfAServer) {
    makeClient();
    showRich("nobody");
    ASSERT_TRUE(becomes([&] { return logSink_->lines().size() == 1; }));
    makeMock({.isSilent = true});
    std::vector<bool> outcomes;
    const auto show = [&] {
        client_->machine().notificationCenter->addNotificationRequest(
            {"one", {}}, [&](const std::optional<NSError>& error) { outcomes.push_back(!error); });
    };
    show();
    ASSERT_TRUE(wasNotified(1));
    show();
    show();  // in place of the second, which waits for the first one's answer
    ASSERT_TRUE(becomes([&] { return outcomes.size() == 1; }));
    mock_.reset();
    ASSERT_TRUE(becomes([&] { return outcomes.size() == 3; }));
    EXPECT_THAT(outcomes, ElementsAre(true, false, false));
    EXPECT_EQ(logSink_->lines().size(), 1U);
}

TEST_F(ClientOnADesktopTest, WhatTheUserSwitchedOffIsDeniedAndNotShown) {
    std::filesystem::create_directories(folder_.path() + "/config/xelpush/desktop-test");
    std::ofstream(folder_.path() + "/config/xelpush/desktop-test/notifications") << "off\n";
    makeMock();
    makeClient();
    loop_->scheduleTimer(0ms, [this] { loop_->stop(); });
    loop_->run();
    EXPECT_TRUE(client_->manager().isNotificationDenied());
    client_->manager().applicationDidRegisterForRemoteNotificationsWithDeviceToken(
        *client_->machine().application, {1, 2});
    EXPECT_EQ(client_->manager().tokenStatus(), "DENIED");
    bool isTaken = false;
    client_->machine().notificationCenter->addNotificationRequest(
        {"one", {}}, [&](const std::optional<NSError>& error) { isTaken = !error; });
    EXPECT_TRUE(becomes([&] { return isTaken; }));
    EXPECT_TRUE(mock_->notifies().empty());
}

TEST_F(ClientOnADesktopTest, WhatTheHostSwitchedOffIsDeniedToo) {
    makeMock();
    makeClient();
    loop_->scheduleTimer(0ms, [this] { loop_->stop(); });
    loop_->run();
    EXPECT_FALSE(client_->manager().isNotificationDenied());
    linuxApplicationOf(client_->machine()).setAllowedNotificationTypes(0);
    EXPECT_TRUE(client_->manager().isNotificationDenied());
}

}  // namespace

namespace contract {
namespace {

class RealLinuxNotificationCenterSubject {
public:
    RealLinuxNotificationCenterSubject() {
        if (test::PrivateBus::whyMissing().empty()) {
            bus_ = std::make_unique<test::PrivateBus>();
            mock_ = std::make_unique<test::MockNotificationServer>(bus_->address());
        }
        application_ =
            std::make_shared<LinuxApplication>(LinuxApplication::Surroundings{loop_, nullptr, logSink_});
        center_ = std::make_unique<LinuxNotificationCenter>(LinuxNotificationCenter::Surroundings{
            loop_, logSink_, application_,
            std::make_shared<DBusConnection>(bus_ ? bus_->address() : "", "test-session"),
            DesktopHost{"Shop", ""}});
    }
    UNUserNotificationCenter& center() { return *center_; }
    NSRunLoop& loop() { return *loop_; }
    bool runUntil(const std::function<bool()>& done) { return driveUntil(*loop_, done); }
    std::string makeFile() {
        std::ofstream(folder_.path() + "/cat.png") << "meow";
        return folder_.path() + "/cat.png";
    }
    std::string missingFile() { return folder_.path() + "/none.png"; }

private:
    TemporaryFolder folder_;
    std::unique_ptr<test::PrivateBus> bus_;
    std::unique_ptr<test::MockNotificationServer> mock_;
    std::shared_ptr<AsioRunLoop> loop_ = std::make_shared<AsioRunLoop>();
    std::shared_ptr<RecordingLogSink> logSink_ = std::make_shared<RecordingLogSink>();
    std::shared_ptr<LinuxApplication> application_;
    std::unique_ptr<LinuxNotificationCenter> center_;
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, UNUserNotificationCenterContract, RealLinuxNotificationCenterSubject);

}  // namespace contract
}  // namespace xel
