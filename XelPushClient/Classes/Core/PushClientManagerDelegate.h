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

/// Hears of the client's outcomes. Every operation is optional: override, publicly, the ones that you
/// want. The client learns at compile time which ones your class overrides, and calls no other.
///
/// Operations are called on the manager's run loop and may call any operation of the manager, with one
/// exception: the list of delegates cannot be changed from here (`DelegateListChangedError`).
class PushClientManagerDelegate {
public:
    PushClientManagerDelegate() = default;
    PushClientManagerDelegate(const PushClientManagerDelegate&) = delete;
    PushClientManagerDelegate& operator=(const PushClientManagerDelegate&) = delete;
    virtual ~PushClientManagerDelegate() = default;

    /// The connection state was assigned, perhaps to the value that it had. The manager tells which.
    virtual void pushClientManagerDidChangedServerConnectionState() {}
    /// The network came, went, or is of another kind.
    virtual void pushClientManagerDidChangeServerReachiability(
        bool /*reachable*/, PushClientServerReachabilityNetworkType /*networkType*/) {}

    /// The installation was saved; the client connects next.
    virtual void pushClientManagerDidRegisterUser(bool /*registered*/) {}
    /// Registering the application or the user failed, or there is no session to connect with.
    virtual void pushClientManagerDidFailRegisterUser(const NSError& /*error*/) {}

    /// The backend answered; only the handler block and the broadcast tell whether it sent a code.
    virtual void pushClientManagerDidSentVerificationCode() {}
    virtual void pushClientManagerDidFailSentVerificationCode(const NSError& /*error*/) {}
    /// The backend answered whether the user's code is right.
    virtual void pushClientManagerDidVerifyUserCode(bool /*verified*/) {}
    virtual void pushClientManagerDidFailInVerifyUserCode(const NSError& /*error*/) {}

    virtual void pushClientManagerDidReceivedMessage(const PushClientMessage& /*message*/) {}
    /// A class that overrides this one shows notifications itself: the client shows none.
    virtual void pushClientManagerUILocalNotificationDidReceivedMessage(
        const PushClientMessage& /*message*/) {}
    virtual void pushClientManagerDidReceivedDelivery(const DeliveryMessage& /*delivery*/) {}
    virtual void pushClientManagerDidReceivedEventMessage(const EventMessage& /*event*/) {}

    /// The broker answered a subscription, even if it was to refuse it. The channel is in the
    /// application's form; an event is "name", or "name/installation".
    virtual void pushClientManagerDidSubscribed(const std::string& /*channel*/) {}
    virtual void pushClientManagerDidUnsubscribed(const std::string& /*channel*/) {}
    /// A subscription, an unsubscription or a publication was refused or given up. The error says why;
    /// its details hold the "topic" where it had come to one.
    virtual void pushClientManagerDidFailInSubscribe(const NSError& /*error*/) {}
    virtual void pushClientManagerDidFailInUnsubscribe(const NSError& /*error*/) {}
    virtual void pushClientManagerDidFailInPublish(const NSError& /*error*/) {}

    /// The user acted on a notification. The client never calls the completion: whoever overrides this
    /// calls it, once the action is dealt with.
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
