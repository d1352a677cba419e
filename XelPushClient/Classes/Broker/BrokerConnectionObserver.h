#pragma once

#include "XelPushClient/Foundation/NSError.h"

namespace xel {

/// Hears how the connection to the broker goes. On the manager's run loop; calling back in is allowed.
class BrokerConnectionObserver {
public:
    virtual ~BrokerConnectionObserver() = default;

    /// The broker accepted the session.
    virtual void brokerDidConnect() = 0;
    /// The connection was closed in order.
    virtual void brokerConnectionDidClose() = 0;
    /// There is no identity to make a session from.
    virtual void brokerSessionIsMissing(const NSError& error) = 0;
};

}  // namespace xel
