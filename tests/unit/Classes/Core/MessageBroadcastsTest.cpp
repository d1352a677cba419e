#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/MessageBroadcasts.h"
#include "XelPushClient/Classes/Core/PushClientConstants.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Testing/FakeRunLoop.h"

namespace xel {
namespace {

TEST(MessageBroadcasts, DoNotKeepALoopThatEndsBeforeTheyAreTold) {
    auto loop = std::make_shared<FakeRunLoop>();
    const std::weak_ptr<FakeRunLoop> itself = loop;
    const auto manager = std::make_shared<NSObject* const>(nullptr);
    {
        MessageBroadcasts broadcasts(loop, std::make_shared<NSNotificationCenter>());
        broadcasts.post(std::make_shared<PushClientMessage>(), manager);
    }
    loop.reset();
    EXPECT_TRUE(itself.expired());
}

TEST(MessageBroadcasts, TellMessagesBehindOneWhoseObserverThrows) {
    const auto loop = std::make_shared<FakeRunLoop>();
    const auto center = std::make_shared<NSNotificationCenter>();
    NSObject itself;
    const auto manager = std::make_shared<NSObject* const>(&itself);
    int heard = 0;
    center->addObserver(PushClientDidReceivedMessageNotification, nullptr, [&](const NSNotification&) {
        if (++heard == 1) {
            throw std::runtime_error("the first one");
        }
    });
    MessageBroadcasts broadcasts(loop, center);
    broadcasts.post(std::make_shared<PushClientMessage>(), manager);
    broadcasts.post(std::make_shared<PushClientMessage>(), manager);
    EXPECT_THROW(loop->runUntilIdle(), std::runtime_error);
    loop->runUntilIdle();
    EXPECT_EQ(heard, 2);
}

}  // namespace
}  // namespace xel
