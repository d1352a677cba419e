#pragma once

#include <memory>

#include "XelPushClient/Classes/Broker/BrokerSession.h"
#include "XelPushClient/Classes/Core/EventFanout.h"
#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/Notifications/LocalNotifications.h"

namespace xel {

/// Brings one message to the user: the host hears of it first, and a local notification is shown when the
/// host shows none of its own.
///
/// Owner: the manager. Thread: the manager's run loop. Keeps nothing.
class MessageDelivery {
public:
    MessageDelivery(const BrokerSession& session, EventFanout& fanout, LocalNotifications& notifications);

    /// Nothing is shown of a session that the host has ended in its callback.
    void deliver(const std::shared_ptr<const PushClientMessage>& message);

private:
    const BrokerSession& session_;
    EventFanout& fanout_;
    LocalNotifications& notifications_;
};

}  // namespace xel
