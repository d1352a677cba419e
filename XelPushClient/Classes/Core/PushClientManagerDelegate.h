#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "XelPushClient/Classes/Models/DeliveryMessage.h"
#include "XelPushClient/Classes/Models/EventMessage.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// What a host may want to hear. Every operation is optional: override, publicly, those you want; the client
/// works out at compile time which ones your class overrides.
///
/// Every operation is called on the manager's run loop and may call any operation of the manager, but for
/// changing the delegate list, which is refused with an exception while it is being walked.
class PushClientManagerDelegate {
public:
    PushClientManagerDelegate() = default;
    PushClientManagerDelegate(const PushClientManagerDelegate&) = delete;
    PushClientManagerDelegate& operator=(const PushClientManagerDelegate&) = delete;
    virtual ~PushClientManagerDelegate() = default;

    /// The connection state was assigned, perhaps to the value it had. Read it from the manager.
    virtual void pushClientManagerDidChangedServerConnectionState() {}
    virtual void pushClientManagerDidChangeServerReachiability(
        bool /*reachable*/, PushClientServerReachabilityNetworkType /*networkType*/) {}

    virtual void pushClientManagerDidRegisterUser(bool /*registered*/) {}
    virtual void pushClientManagerDidFailRegisterUser(const NSError& /*error*/) {}

    virtual void pushClientManagerDidSentVerificationCode() {}
    virtual void pushClientManagerDidFailSentVerificationCode(const NSError& /*error*/) {}
    virtual void pushClientManagerDidVerifyUserCode(bool /*verified*/) {}
    virtual void pushClientManagerDidFailInVerifyUserCode(const NSError& /*error*/) {}

    virtual void pushClientManagerDidReceivedMessage(const PushClientMessage& /*message*/) {}
    /// Overriding it says that the host shows notifications itself; the client then shows none.
    virtual void pushClientManagerUILocalNotificationDidReceivedMessage(
        const PushClientMessage& /*message*/) {}
    virtual void pushClientManagerDidReceivedDelivery(const DeliveryMessage& /*delivery*/) {}
    virtual void pushClientManagerDidReceivedEventMessage(const EventMessage& /*event*/) {}

    virtual void pushClientManagerDidSubscribed(const std::string& /*channel*/) {}
    virtual void pushClientManagerDidUnsubscribed(const std::string& /*channel*/) {}
    virtual void pushClientManagerDidFailInSubscribe(const NSError& /*error*/) {}
    virtual void pushClientManagerDidFailInUnsubscribe(const NSError& /*error*/) {}
    virtual void pushClientManagerDidFailInPublish(const NSError& /*error*/) {}

    /// The user acted on a notification. The client never calls the completion itself: a delegate that
    /// overrides this must, once it has dealt with the action.
    virtual void userNotificationCenterDidReceiveNotificationResponse(
        UNUserNotificationCenter& /*center*/, const UNNotificationResponse& /*response*/,
        const std::function<void()>& /*completion*/) {}
};

/// Thrown when the delegate list is changed while it is being walked; the list is as it was.
class DelegateListChangedError : public std::logic_error {
public:
    DelegateListChangedError()
        : std::logic_error(
              "the delegate list cannot be changed from inside a delegate's callback; post the change") {}
};

}  // namespace xel
