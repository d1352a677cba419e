#include <gtest/gtest.h>

#include "XelPushClient/Platform/UIApplication.h"
#include "XelPushClient/Testing/FakeApplication.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

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

    using Heard = std::vector<std::string>;
    FakeApplication application_{std::make_shared<FakeRunLoop>()};
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

}  // namespace
}  // namespace xel
