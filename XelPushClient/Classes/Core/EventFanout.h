#pragma once

#include <functional>
#include <memory>
#include <string>

#include "XelPushClient/Classes/Core/DelegateList.h"
#include "XelPushClient/Classes/Core/HandlerSlots.h"
#include "XelPushClient/Classes/Core/MessageBroadcasts.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

/// Tells the host about every outcome, in this order: each delegate that responds, the handler block, and a
/// broadcast notification, which is posted on the main run loop and never waited for.
///
/// A new message is the exception: its notification is posted before its blocks are called.
/// Owner: the manager. Thread: the manager's run loop. An exception of a host's callback leaves the reporting
/// operation at once.
class EventFanout {
public:
    struct Surroundings {
        NSObject& manager;  ///< the object of every notification
        std::shared_ptr<NSRunLoop> mainRunLoop;
        std::shared_ptr<NSNotificationCenter> notificationCenter;
        const LogOutput& log;
    };

    explicit EventFanout(Surroundings surroundings);

    DelegateList delegates;
    HandlerSlots blocks;

    /// The client has ended: nothing more is reported, also to those who would have heard next of what is
    /// being reported.
    void end();

    void callBackConnectionStateDidChanged();
    void callBackServerReachabilityChanged(bool reachable,
                                           PushClientServerReachabilityNetworkType networkType);
    void callbackRegitrationSuccess(bool registered, const std::optional<std::string>& userId);
    void callbackRegitrationFailure(bool registered, const std::optional<std::string>& userId,
                                    const NSError& error);
    void callbackSentVerificationRequest(bool sent);
    void callbackRequestVerificationFailure(const NSError& error);
    void callbackVerifyUserCode(bool verified);
    void callbackVerifyUserCodeFailure(const NSError& error);
    /// A publication arrives: from now on until the next one `wasArrivalReported` tells whether anybody of
    /// the host's has been told of it, or was about to be.
    void beginArrival() { wasArrivalReported_ = false; }
    [[nodiscard]] bool wasArrivalReported() const { return wasArrivalReported_; }
    /// True when the host shows its own notifications: a delegate or the block for it is there.
    bool callbackNewMessageReceived(const std::shared_ptr<const PushClientMessage>& message);
    void callbackNewDeliveryReceived(const DeliveryMessage& delivery);
    void callBackNewEventMessageReceived(const EventMessage& event);
    void invokePushClientManagerDidSubscribed(const std::optional<std::string>& channel);
    /// Calls `beforeEach` before every delegate that hears of it.
    void invokePushClientManagerDidUnsubscribed(const std::string& channel,
                                                const std::function<void()>& beforeEach);
    void invokePushClientManagerDidFailInSubscribe(const NSError& error);
    void invokePushClientManagerDidFailInUnsubscribe(const NSError& error);
    void invokePushClientManagerDidFailInPublish(const NSError& error);
    /// Posts the notification at once, on this thread: for those that the client itself observes.
    void postNow(std::string_view name);
    void forwardNotificationResponse(UNUserNotificationCenter& center, const UNNotificationResponse& response,
                                     const std::function<void()>& completion);

private:
    /// Posts the notification; the details are made only when somebody observes it by then.
    template <class MakeInfo>
    void postOnMainRunLoop(std::string_view name, MakeInfo makeInfo);

    Surroundings surroundings_;
    MessageBroadcasts messageBroadcasts_;
    bool wasArrivalReported_ = false;
    /// The manager's, which posted notifications name as their object: they are dropped once it is gone. Not
    /// a way into the client: they run on the main loop's thread, which must not be the last to hold rooms.
    Lifeline<NSObject> life_;
};

}  // namespace xel
