#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// Hears how the connection to the broker goes. On the manager's run loop; calling back in is allowed.
class BrokerConnectionObserver {
public:
    virtual ~BrokerConnectionObserver() = default;

    /// The state was assigned, perhaps to the value it had.
    virtual void connectionStateWasAssigned() = 0;
    /// The broker accepted the session.
    virtual void brokerDidConnect() = 0;
    /// The connection was closed in order.
    virtual void brokerConnectionDidClose() = 0;
    /// There is no identity to make a session from.
    virtual void brokerSessionIsMissing(const NSError& error) = 0;
};

/// Hears what arrives on the session. On the manager's run loop; calling back in is allowed.
class BrokerTrafficObserver {
public:
    virtual ~BrokerTrafficObserver() = default;

    virtual void turnWillBegin() = 0;
    virtual void publicationArrived(const MQTTPublication& publication) = 0;
    /// Store what the turn brought, then call `acknowledge` exactly once.
    virtual void turnWillClose(std::function<void()> acknowledge) = 0;
    virtual void subscriptionWasAnswered(std::uint16_t packetId,
                                         std::span<const std::uint8_t> grantedQoss) = 0;
    virtual void unsubscriptionWasAnswered(std::uint16_t packetId) = 0;
    virtual void restoredTopicWasRefused(std::string_view topic) = 0;
    /// The session has given up what it had taken over.
    virtual void publicationFailed(std::string_view payload, std::string_view topic,
                                   const NSError& error) = 0;
    virtual void subscriptionFailed(std::string_view topic, const NSError& error) = 0;
    virtual void unsubscriptionFailed(std::string_view topic, const NSError& error) = 0;
};

}  // namespace xel
