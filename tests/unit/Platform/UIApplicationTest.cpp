#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/UIApplication.h"
#include "XelPushClient/Testing/FakeApplication.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

class Listener : public UIApplicationDelegate {
public:
    explicit Listener(std::function<void(const Dictionary&)> heard) : heard_(std::move(heard)) {}
    void applicationDidReceiveRemoteNotification(UIApplication& /*application*/,
                                                 const Dictionary& payload) override {
        heard_(payload);
    }

private:
    std::function<void(const Dictionary&)> heard_;
};

class UIApplicationTest : public ::testing::Test {
protected:
    std::shared_ptr<NSNotificationCenter> attachedCenter(std::string name) {
        auto center = std::make_shared<NSNotificationCenter>();
        center->addObserver(std::string(UIApplicationDidEnterBackgroundNotification), nullptr,
                            [this, name](const NSNotification& notification) {
                                EXPECT_EQ(notification.object, &application_);
                                heard_.push_back(name);
                            });
        application_.attachNotificationCenter(center);
        return center;
    }

    std::shared_ptr<Listener> attachedDelegate(const std::string& name) {
        auto delegate = std::make_shared<Listener>([this, name](const Dictionary& payload) {
            heard_.push_back(name + " " + *payload.find("id")->asString());
        });
        application_.attachDelegate(delegate);
        return delegate;
    }
    void receive(const std::string& id) {
        application_.receiveRemoteNotification(Dictionary{{"id", id}});
        runLoop_->runUntilIdle();
    }

    using Heard = std::vector<std::string>;
    std::shared_ptr<FakeRunLoop> runLoop_ = std::make_shared<FakeRunLoop>();
    FakeApplication application_{runLoop_};
    Heard heard_;
};

TEST_F(UIApplicationTest, PostsItsLifecycleToEveryAttachedCentre) {
    const auto first = attachedCenter("first");
    const auto second = attachedCenter("second");
    application_.didEnterBackground();
    EXPECT_EQ(heard_, (Heard{"first", "second"}));
}

TEST_F(UIApplicationTest, AttachesACentreOnce) {
    const auto center = attachedCenter("once");
    application_.attachNotificationCenter(center);
    application_.didEnterBackground();
    EXPECT_EQ(heard_, (Heard{"once"}));
}

TEST_F(UIApplicationTest, ForgetsACentreThatIsGone) {
    auto gone = attachedCenter("gone");
    const auto kept = attachedCenter("kept");
    gone.reset();
    application_.didEnterBackground();
    EXPECT_EQ(heard_, (Heard{"kept"}));
}

TEST_F(UIApplicationTest, LetsAnObserverAttachAnotherCentre) {
    const auto center = attachedCenter("old");
    std::shared_ptr<NSNotificationCenter> added;
    center->addObserver(std::string(UIApplicationDidEnterBackgroundNotification), nullptr,
                        [&](const NSNotification&) { added = attachedCenter("new"); });
    application_.didEnterBackground();
    EXPECT_EQ(heard_, (Heard{"old"}));
}

TEST_F(UIApplicationTest, TellsEveryAttachedDelegateOfARemoteNotificationOnce) {
    const auto first = attachedDelegate("first");
    auto gone = attachedDelegate("gone");
    const auto second = attachedDelegate("second");
    application_.attachDelegate(second);
    gone.reset();
    receive("m1");
    EXPECT_EQ(heard_, (Heard{"first m1", "second m1"}));
}

TEST_F(UIApplicationTest, LetsADelegateAttachAnother) {
    std::shared_ptr<Listener> added;
    const auto old = std::make_shared<Listener>([&](const Dictionary&) {
        if (added == nullptr) {
            added = attachedDelegate("new");
        }
    });
    application_.attachDelegate(old);
    receive("m1");
    EXPECT_EQ(heard_, Heard{});
    receive("m2");
    EXPECT_EQ(heard_, (Heard{"new m2"}));
}

}  // namespace
}  // namespace xel
