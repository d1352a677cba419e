#include <gtest/gtest.h>

#include "XelPushClient/Classes/Core/DelegateOperations.h"
#include "tests/unit/Classes/Support/RecordingDelegate.h"

namespace xel {
namespace {

class NoDelegate : public PushClientManagerDelegate {};

class MessageDelegate : public PushClientManagerDelegate {
public:
    void pushClientManagerDidReceivedMessage(const PushClientMessage& /*message*/) override {}
};

class DerivedDelegate : public MessageDelegate {
public:
    void pushClientManagerDidSubscribed(const std::string& /*channel*/) override {}
};

class UnchangedDelegate final : public DerivedDelegate {};

TEST(DelegateOperations, AreNoneForAClassThatOverridesNothing) {
    EXPECT_EQ(operationsOverriddenBy<NoDelegate>(), DelegateOperations());
}

TEST(DelegateOperations, AreWhatTheClassOverrides) {
    EXPECT_EQ(operationsOverriddenBy<MessageDelegate>(),
              DelegateOperations().insert(DelegateOperation::DidReceivedMessage));
}

TEST(DelegateOperations, CountOverridesOfClassesBetweenItAndTheBase) {
    const auto wanted = DelegateOperations()
                            .insert(DelegateOperation::DidReceivedMessage)
                            .insert(DelegateOperation::DidSubscribed);
    EXPECT_EQ(operationsOverriddenBy<DerivedDelegate>(), wanted);
    EXPECT_EQ(operationsOverriddenBy<UnchangedDelegate>(), wanted);
}

TEST(DelegateOperations, FindEveryOneOfThem) {
    const auto all = operationsOverriddenBy<NotifyingDelegate>();
    const auto allButOne = operationsOverriddenBy<RecordingDelegate>();
    for (std::size_t i = 0; i < static_cast<std::size_t>(DelegateOperation::Count); ++i) {
        const auto operation = static_cast<DelegateOperation>(i);
        EXPECT_TRUE(all.contains(operation)) << i;
        EXPECT_EQ(allButOne.contains(operation),
                  operation != DelegateOperation::UILocalNotificationDidReceivedMessage)
            << i;
    }
}

TEST(DelegateOperations, CanBePutTogetherAtRunTime) {
    auto operations = DelegateOperations().insert(DelegateOperation::DidSubscribed);
    operations.insert(DelegateOperation::DidSubscribed, false);
    EXPECT_EQ(operations, DelegateOperations());
}

}  // namespace
}  // namespace xel
