#include "XelPushClient/Classes/Messaging/MessageDelivery.h"

namespace xel {

MessageDelivery::MessageDelivery(const BrokerSession& session, EventFanout& fanout,
                                 LocalNotifications& notifications)
    : session_(session), fanout_(fanout), notifications_(notifications) {}

void MessageDelivery::deliver(const std::shared_ptr<const PushClientMessage>& message) {
    const auto generation = session_.generation();
    const bool hostShowsNotifications = fanout_.callbackNewMessageReceived(message);
    const bool sessionGoesOn = generation == session_.generation();
    if (sessionGoesOn && !hostShowsNotifications) {
        notifications_.showNotificationFor(*message);
    }
}

}  // namespace xel
