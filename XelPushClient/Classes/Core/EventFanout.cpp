#include "XelPushClient/Classes/Core/EventFanout.h"

#include "XelPushClient/Classes/Core/PushClientConstants.h"

namespace xel {
namespace {

NotificationInfo noInfo() {
    return {};
}

}  // namespace

EventFanout::EventFanout(Surroundings surroundings)
    : surroundings_(std::move(surroundings)),
      messageBroadcasts_(surroundings_.mainRunLoop, surroundings_.notificationCenter),
      life_(surroundings_.manager) {}

template <class MakeInfo>
void EventFanout::postOnMainRunLoop(std::string_view name, MakeInfo makeInfo) {
    messageBroadcasts_.beginAnotherPost();
    // The name stays a view: it is one of the constants, each time.
    surroundings_.mainRunLoop->post(
        life_.guarded([center = surroundings_.notificationCenter, sender = life_.token(), name,
                       makeInfo = std::move(makeInfo)](NSObject& manager) {
            if (center->hasObserverFor(name)) {
                // With the sender's token, because an observer may destroy
                // the manager that those behind it would be told of.
                center->postNotification({name, &manager, makeInfo()}, sender);
            }
        }));
}

void EventFanout::end() {
    delegates.end();
    blocks = HandlerSlots();
    life_.end();
}

void EventFanout::callBackConnectionStateDidChanged() {
    delegates.forEachResponding(DelegateOperation::DidChangedServerConnectionState, [](auto& delegate) {
        delegate.pushClientManagerDidChangedServerConnectionState();
    });
    blocks.serverConnectionStateHandler.callIfSet();
    postOnMainRunLoop(PushClientDidChangeServerConnectionStateNotification, noInfo);
}

void EventFanout::callBackServerReachabilityChanged(bool reachable,
                                                    PushClientServerReachabilityNetworkType networkType) {
    delegates.forEachResponding(DelegateOperation::DidChangeServerReachiability, [&](auto& delegate) {
        delegate.pushClientManagerDidChangeServerReachiability(reachable, networkType);
    });
    blocks.serverReachabilityHandler.callIfSet(reachable, networkType);
    postOnMainRunLoop(PushClientDidChangeServerReachabilityNotification, [reachable, networkType] {
        return NotificationInfo{{PushClientReachableKey, reachable},
                                {PushClientNetworkTypeKey, static_cast<unsigned>(networkType)}};
    });
}

void EventFanout::callbackRegitrationSuccess(bool registered, const std::optional<std::string>& userId) {
    delegates.forEachResponding(DelegateOperation::DidRegisterUser, [&](auto& delegate) {
        delegate.pushClientManagerDidRegisterUser(registered);
    });
    TVRLog(surroundings_.log, blocks.registrationHandler ? "calling registrationHandler for success"
                                                         : "No registrationHandler for success");
    blocks.registrationHandler.callIfSet(registered, userId, std::optional<NSError>());
    postOnMainRunLoop(PushClientDidRegisterUserNotification, noInfo);
}

void EventFanout::callbackRegitrationFailure(bool registered, const std::optional<std::string>& userId,
                                             const NSError& error) {
    delegates.forEachResponding(DelegateOperation::DidFailRegisterUser, [&](auto& delegate) {
        delegate.pushClientManagerDidFailRegisterUser(error);
    });
    TVRLog(surroundings_.log, blocks.registrationHandler ? "calling registrationHandler for failure"
                                                         : "No registrationHandler for failure");
    blocks.registrationHandler.callIfSet(registered, userId, std::optional(error));
    postOnMainRunLoop(PushClientDidFailRegisterUserNotification, [error] {
        return NotificationInfo{{PushClientErrorKey, error}};
    });
}

void EventFanout::callbackSentVerificationRequest(bool sent) {
    delegates.forEachResponding(DelegateOperation::DidSentVerificationCode,
                                [](auto& delegate) { delegate.pushClientManagerDidSentVerificationCode(); });
    blocks.verificationHandler.callIfSet(sent, std::optional<NSError>());
    postOnMainRunLoop(PushClientDidSentVerificationCodeNotification, [sent] {
        return NotificationInfo{{PushClientSentKey, sent}};
    });
}

void EventFanout::callbackRequestVerificationFailure(const NSError& error) {
    delegates.forEachResponding(DelegateOperation::DidFailSentVerificationCode, [&](auto& delegate) {
        delegate.pushClientManagerDidFailSentVerificationCode(error);
    });
    blocks.verificationHandler.callIfSet(false, std::optional(error));
    postOnMainRunLoop(PushClientDidFailSentVerificationCodeNotification, [error] {
        return NotificationInfo{{PushClientSentRequstKey, false}, {PushClientErrorKey, error}};
    });
}

void EventFanout::callbackVerifyUserCode(bool verified) {
    delegates.forEachResponding(DelegateOperation::DidVerifyUserCode, [&](auto& delegate) {
        delegate.pushClientManagerDidVerifyUserCode(verified);
    });
    blocks.verifiyUserCodeHandler.callIfSet(verified, std::optional<NSError>());
    postOnMainRunLoop(PushClientDidVerifyUserCodeNotification, [verified] {
        return NotificationInfo{{PushClientVerifyUserCodeKey, verified}};
    });
}

void EventFanout::callbackVerifyUserCodeFailure(const NSError& error) {
    delegates.forEachResponding(DelegateOperation::DidFailInVerifyUserCode, [&](auto& delegate) {
        delegate.pushClientManagerDidFailInVerifyUserCode(error);
    });
    blocks.verifiyUserCodeHandler.callIfSet(false, std::optional(error));
    postOnMainRunLoop(PushClientDidFailInVerifyUserCodeNotification, [error] {
        return NotificationInfo{{PushClientVerifyUserCodeKey, false}, {PushClientErrorKey, error}};
    });
}

bool EventFanout::callbackNewMessageReceived(const std::shared_ptr<const PushClientMessage>& message) {
    bool hostShowsNotifications = false;
    delegates.forEach([&](PushClientManagerDelegate& delegate, const DelegateOperations& operations) {
        if (operations.contains(DelegateOperation::DidReceivedMessage)) {
            wasArrivalReported_ = true;
            delegate.pushClientManagerDidReceivedMessage(*message);
        }
        if (!delegates.hasEnded() &&
            operations.contains(DelegateOperation::UILocalNotificationDidReceivedMessage)) {
            hostShowsNotifications = true;
            wasArrivalReported_ = true;
            delegate.pushClientManagerUILocalNotificationDidReceivedMessage(*message);
        }
    });
    messageBroadcasts_.post(message, life_.token());
    wasArrivalReported_ = true;
    blocks.messageHandler.callIfSet(*message);
    blocks.messageUILocalNotificationHandler.callIfSet(*message);
    return hostShowsNotifications || static_cast<bool>(blocks.messageUILocalNotificationHandler);
}

void EventFanout::callbackNewDeliveryReceived(const DeliveryMessage& delivery) {
    wasArrivalReported_ = true;
    delegates.forEachResponding(DelegateOperation::DidReceivedDelivery, [&](auto& delegate) {
        delegate.pushClientManagerDidReceivedDelivery(delivery);
    });
}

void EventFanout::callBackNewEventMessageReceived(const EventMessage& event) {
    wasArrivalReported_ = true;
    delegates.forEachResponding(DelegateOperation::DidReceivedEventMessage, [&](auto& delegate) {
        delegate.pushClientManagerDidReceivedEventMessage(event);
    });
}

void EventFanout::invokePushClientManagerDidSubscribed(const std::optional<std::string>& channel) {
    if (!channel) {
        return;
    }
    delegates.forEachResponding(DelegateOperation::DidSubscribed,
                                [&](auto& delegate) { delegate.pushClientManagerDidSubscribed(*channel); });
}

void EventFanout::invokePushClientManagerDidUnsubscribed(const std::string& channel,
                                                         const std::function<void()>& beforeEach) {
    delegates.forEachResponding(DelegateOperation::DidUnsubscribed, [&](auto& delegate) {
        beforeEach();
        delegate.pushClientManagerDidUnsubscribed(channel);
    });
}

void EventFanout::invokePushClientManagerDidFailInSubscribe(const NSError& error) {
    delegates.forEachResponding(DelegateOperation::DidFailInSubscribe,
                                [&](auto& delegate) { delegate.pushClientManagerDidFailInSubscribe(error); });
}

void EventFanout::invokePushClientManagerDidFailInUnsubscribe(const NSError& error) {
    delegates.forEachResponding(DelegateOperation::DidFailInUnsubscribe, [&](auto& delegate) {
        delegate.pushClientManagerDidFailInUnsubscribe(error);
    });
}

void EventFanout::invokePushClientManagerDidFailInPublish(const NSError& error) {
    delegates.forEachResponding(DelegateOperation::DidFailInPublish,
                                [&](auto& delegate) { delegate.pushClientManagerDidFailInPublish(error); });
}

void EventFanout::postNow(std::string_view name) {
    surroundings_.notificationCenter->postNotification({name, &surroundings_.manager, {}}, life_.token());
}

void EventFanout::forwardNotificationResponse(UNUserNotificationCenter& center,
                                              const UNNotificationResponse& response,
                                              const std::function<void()>& completion) {
    delegates.forEachResponding(DelegateOperation::DidReceiveNotificationResponse, [&](auto& delegate) {
        delegate.userNotificationCenterDidReceiveNotificationResponse(center, response, completion);
    });
}

}  // namespace xel
