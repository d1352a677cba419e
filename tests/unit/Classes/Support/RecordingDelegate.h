#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Classes/Core/PushClientManagerDelegate.h"
#include "XelPushClient/Foundation/FormattedText.h"

namespace xel {

/// The one record that everybody who hears of outcomes writes into, so that their order shows.
using Heard = std::vector<std::string>;

/// Responds to every operation but the one that lets the host show its own notifications; writes each call
/// down and then does what the test wants.
class RecordingDelegate : public PushClientManagerDelegate {
public:
    explicit RecordingDelegate(std::shared_ptr<Heard> heard, std::string name = "delegate")
        : heard_(std::move(heard)), name_(std::move(name)) {}

    std::function<void()> reaction;

    void pushClientManagerDidChangedServerConnectionState() override { hear("ConnectionState"); }
    void pushClientManagerDidChangeServerReachiability(
        bool reachable, PushClientServerReachabilityNetworkType networkType) override {
        hear(formatted("Reachability %d %d", reachable, static_cast<int>(networkType)));
    }
    void pushClientManagerDidRegisterUser(bool registered) override {
        hear(formatted("RegisterUser %d", registered));
    }
    void pushClientManagerDidFailRegisterUser(const NSError& error) override {
        hear(formatted("FailRegisterUser %d", error.code));
    }
    void pushClientManagerDidSentVerificationCode() override { hear("SentVerificationCode"); }
    void pushClientManagerDidFailSentVerificationCode(const NSError& error) override {
        hear(formatted("FailSentVerificationCode %d", error.code));
    }
    void pushClientManagerDidVerifyUserCode(bool verified) override {
        hear(formatted("VerifyUserCode %d", verified));
    }
    void pushClientManagerDidFailInVerifyUserCode(const NSError& error) override {
        hear(formatted("FailInVerifyUserCode %d", error.code));
    }
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override {
        hear(formatted("Message %@", message.id));
    }
    void pushClientManagerDidReceivedDelivery(const DeliveryMessage& delivery) override {
        hear(formatted("Delivery %@", delivery.messageId));
    }
    void pushClientManagerDidReceivedEventMessage(const EventMessage& event) override {
        hear(formatted("Event %@", event.eventName));
    }
    void pushClientManagerDidSubscribed(const std::string& channel) override {
        hear(formatted("Subscribed %@", channel));
    }
    void pushClientManagerDidUnsubscribed(const std::string& channel) override {
        hear(formatted("Unsubscribed %@", channel));
    }
    void pushClientManagerDidFailInSubscribe(const NSError& error) override {
        hear(formatted("FailInSubscribe %@ %d %@", error.domain, error.code, error.localizedDescription()));
    }
    void pushClientManagerDidFailInUnsubscribe(const NSError& error) override {
        hear(formatted("FailInUnsubscribe %@ %d %@", error.domain, error.code, error.localizedDescription()));
    }
    void pushClientManagerDidFailInPublish(const NSError& error) override {
        hear(formatted("FailInPublish %d", error.code));
    }
    void userNotificationCenterDidReceiveNotificationResponse(
        UNUserNotificationCenter& /*center*/, const UNNotificationResponse& response,
        const std::function<void()>& completion) override {
        hear(formatted("NotificationResponse %@", response.actionIdentifier));
        completion();
    }

protected:
    void hear(const std::string& what) {
        heard_->push_back(name_ + ": " + what);
        if (reaction) {
            reaction();
        }
    }

private:
    std::shared_ptr<Heard> heard_;
    std::string name_;
};

/// Also shows its own notifications.
class NotifyingDelegate final : public RecordingDelegate {
public:
    using RecordingDelegate::RecordingDelegate;
    void pushClientManagerUILocalNotificationDidReceivedMessage(const PushClientMessage& message) override {
        hear(formatted("UILocalNotification %@", message.id));
    }
};

}  // namespace xel
