#pragma once

#include <functional>
#include <string>

#include "XelPushClient/Classes/PushClientManager.h"
#include "tests/scenarios/interpreter/Journal.h"

namespace xel::scenario {

/// A delegate of the host's that hands what it hears on, as texts. Which operations it responds to is given
/// where it is added.
class RecordingDelegate final : public PushClientManagerDelegate {
public:
    using Hear = std::function<void(JournalEntry entry)>;

    /// `state` answers the connection state's display string.
    RecordingDelegate(Hear hear, std::function<std::string()> state)
        : hear_(std::move(hear)), state_(std::move(state)) {}

    void pushClientManagerDidChangedServerConnectionState() override;
    void pushClientManagerDidChangeServerReachiability(bool reachable,
                                                       PushClientServerReachabilityNetworkType type) override;
    void pushClientManagerDidRegisterUser(bool registered) override;
    void pushClientManagerDidFailRegisterUser(const NSError& error) override;
    void pushClientManagerDidSentVerificationCode() override;
    void pushClientManagerDidFailSentVerificationCode(const NSError& error) override;
    void pushClientManagerDidVerifyUserCode(bool verified) override;
    void pushClientManagerDidFailInVerifyUserCode(const NSError& error) override;
    void pushClientManagerDidReceivedMessage(const PushClientMessage& message) override;
    void pushClientManagerUILocalNotificationDidReceivedMessage(const PushClientMessage& message) override;
    void pushClientManagerDidReceivedDelivery(const DeliveryMessage& delivery) override;
    void pushClientManagerDidReceivedEventMessage(const EventMessage& event) override;
    void pushClientManagerDidSubscribed(const std::string& channel) override;
    void pushClientManagerDidUnsubscribed(const std::string& channel) override;
    void pushClientManagerDidFailInSubscribe(const NSError& error) override;
    void pushClientManagerDidFailInUnsubscribe(const NSError& error) override;
    void pushClientManagerDidFailInPublish(const NSError& error) override;
    void userNotificationCenterDidReceiveNotificationResponse(
        UNUserNotificationCenter& center, const UNNotificationResponse& response,
        const std::function<void()>& completion) override;

private:
    Hear hear_;
    std::function<std::string()> state_;
};

/// The operations of the delegate above by name. Throws `ScenarioFailure` for an unknown one.
[[nodiscard]] DelegateOperation delegateOperationNamed(std::string_view name);

// How things read in a journal.

using Fields = std::vector<std::pair<std::string, std::string>>;
[[nodiscard]] std::string yesOrNo(bool flag);
[[nodiscard]] std::string networkName(PushClientServerReachabilityNetworkType type);
[[nodiscard]] Fields fieldsOf(const NSError& error);
[[nodiscard]] Fields fieldsOf(const PushClientMessage& message);

}  // namespace xel::scenario
