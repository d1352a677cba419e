#include <mutex>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sdbus-c++/sdbus-c++.h>

#include "XelPushClient/Linux/Desktop/LauncherBadge.h"
#include "tests/integration/desktop/support/PrivateBus.h"

namespace xel {
namespace {

using testing::ElementsAre;

/// A launcher that listens as docks do: to the signal of whatever object.
class Launcher {
public:
    explicit Launcher(const std::string& address)
        : connection_(sdbus::createSessionBusConnectionWithAddress(address)),
          match_(connection_->addMatch(
              "type='signal',interface='com.canonical.Unity.LauncherEntry',member='Update'",
              [this](sdbus::Message& message) {
                  std::string application;
                  std::map<std::string, sdbus::Variant> properties;
                  message >> application >> properties;
                  const auto count = properties.at("count").get<std::int64_t>();
                  const bool isVisible = properties.at("count-visible").get<bool>();
                  const std::lock_guard lock(mutex_);
                  heard_.push_back(application + " " + (isVisible ? std::to_string(count) : "none"));
              })) {
        connection_->enterEventLoopAsync();
    }
    Launcher(const Launcher&) = delete;
    Launcher& operator=(const Launcher&) = delete;
    ~Launcher() { connection_->leaveEventLoop(); }

    [[nodiscard]] std::vector<std::string> heard() {
        const std::lock_guard lock(mutex_);
        return heard_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> heard_;
    std::unique_ptr<sdbus::IConnection> connection_;
    sdbus::Slot match_;
};

TEST(LauncherBadge, TellsLaunchersTheNumber) {
    if (const auto reason = test::PrivateBus::whyMissing(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const test::PrivateBus bus;
    Launcher launcher(bus.address());
    const LauncherBadge badge(std::make_shared<DBusConnection>(bus.address(), "test-session"),
                              "org.example.Shop");
    badge.setCount(3);
    badge.setCount(0);
    badge.setCount(-1);
    EXPECT_TRUE(test::eventually([&] { return launcher.heard().size() == 3; }));
    const std::string application = "application://org.example.Shop.desktop";
    EXPECT_THAT(launcher.heard(),
                ElementsAre(application + " 3", application + " none", application + " none"));
}

TEST(LauncherBadge, NeedsNoBus) {
    const LauncherBadge badge(std::make_shared<DBusConnection>("", "test-session"), "org.example.Shop");
    EXPECT_NO_THROW(badge.setCount(3));
}

}  // namespace
}  // namespace xel
