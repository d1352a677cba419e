#pragma once

#include <bitset>
#include <cstddef>
#include <type_traits>

#include "XelPushClient/Classes/Core/PushClientManagerDelegate.h"

namespace xel {

/// One bit for every operation of `PushClientManagerDelegate`.
enum class DelegateOperation : std::size_t {
    DidChangedServerConnectionState,
    DidChangeServerReachiability,
    DidRegisterUser,
    DidFailRegisterUser,
    DidSentVerificationCode,
    DidFailSentVerificationCode,
    DidVerifyUserCode,
    DidFailInVerifyUserCode,
    DidReceivedMessage,
    UILocalNotificationDidReceivedMessage,
    DidReceivedDelivery,
    DidReceivedEventMessage,
    DidSubscribed,
    DidUnsubscribed,
    DidFailInSubscribe,
    DidFailInUnsubscribe,
    DidFailInPublish,
    DidReceiveNotificationResponse,
    Count
};

/// Which operations a delegate responds to.
class DelegateOperations {
public:
    [[nodiscard]] bool contains(DelegateOperation operation) const {
        return bits_.test(static_cast<std::size_t>(operation));
    }
    DelegateOperations& insert(DelegateOperation operation, bool isIn = true) {
        bits_.set(static_cast<std::size_t>(operation), isIn);
        return *this;
    }
    friend bool operator==(const DelegateOperations&, const DelegateOperations&) = default;

private:
    std::bitset<static_cast<std::size_t>(DelegateOperation::Count)> bits_;
};

namespace detail {

template <class MemberPointer>
struct ClassOf;
template <class Function, class Class>
struct ClassOf<Function Class::*> {
    using Type = Class;
};

/// A member pointer's type names the class that declares the member last: the base class means "not
/// overridden".
template <class MemberPointer>
constexpr bool isOverridden(MemberPointer) {
    return !std::is_same_v<typename ClassOf<MemberPointer>::Type, PushClientManagerDelegate>;
}

}  // namespace detail

/// The operations that `D`, or a class between it and the base, overrides.
template <class D>
[[nodiscard]] DelegateOperations operationsOverriddenBy() {
    static_assert(std::is_base_of_v<PushClientManagerDelegate, D>,
                  "a delegate derives from PushClientManagerDelegate");
    static_assert(
        !std::is_same_v<PushClientManagerDelegate, D>,
        "a pointer to the base class hides what its object overrides: pass the object's own type, or the "
        "set of operations beside it");
    using detail::isOverridden;
    using Operation = DelegateOperation;
    DelegateOperations found;
    found.insert(Operation::DidChangedServerConnectionState,
                 isOverridden(&D::pushClientManagerDidChangedServerConnectionState));
    found.insert(Operation::DidChangeServerReachiability,
                 isOverridden(&D::pushClientManagerDidChangeServerReachiability));
    found.insert(Operation::DidRegisterUser, isOverridden(&D::pushClientManagerDidRegisterUser));
    found.insert(Operation::DidFailRegisterUser, isOverridden(&D::pushClientManagerDidFailRegisterUser));
    found.insert(Operation::DidSentVerificationCode,
                 isOverridden(&D::pushClientManagerDidSentVerificationCode));
    found.insert(Operation::DidFailSentVerificationCode,
                 isOverridden(&D::pushClientManagerDidFailSentVerificationCode));
    found.insert(Operation::DidVerifyUserCode, isOverridden(&D::pushClientManagerDidVerifyUserCode));
    found.insert(Operation::DidFailInVerifyUserCode,
                 isOverridden(&D::pushClientManagerDidFailInVerifyUserCode));
    found.insert(Operation::DidReceivedMessage, isOverridden(&D::pushClientManagerDidReceivedMessage));
    found.insert(Operation::UILocalNotificationDidReceivedMessage,
                 isOverridden(&D::pushClientManagerUILocalNotificationDidReceivedMessage));
    found.insert(Operation::DidReceivedDelivery, isOverridden(&D::pushClientManagerDidReceivedDelivery));
    found.insert(Operation::DidReceivedEventMessage,
                 isOverridden(&D::pushClientManagerDidReceivedEventMessage));
    found.insert(Operation::DidSubscribed, isOverridden(&D::pushClientManagerDidSubscribed));
    found.insert(Operation::DidUnsubscribed, isOverridden(&D::pushClientManagerDidUnsubscribed));
    found.insert(Operation::DidFailInSubscribe, isOverridden(&D::pushClientManagerDidFailInSubscribe));
    found.insert(Operation::DidFailInUnsubscribe, isOverridden(&D::pushClientManagerDidFailInUnsubscribe));
    found.insert(Operation::DidFailInPublish, isOverridden(&D::pushClientManagerDidFailInPublish));
    found.insert(Operation::DidReceiveNotificationResponse,
                 isOverridden(&D::userNotificationCenterDidReceiveNotificationResponse));
    return found;
}

}  // namespace xel
