#pragma once

#include <optional>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Foundation/NSNotificationCenter.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"

namespace xel {

// The details of the client's broadcasts by their types. PushClientConstants.h says which broadcast
// carries which; of any other there is nothing. What a pointer points to lives as long as the
// notification.

/// The message of "PushClientDidReceivedMessageNotification".
[[nodiscard]] const PushClientMessage* messageOf(const NSNotification& notification);

/// Whether the service can be reached, and by what network, of
/// "PushClientDidChangeServerReachabilityNotification".
[[nodiscard]] std::optional<bool> reachableOf(const NSNotification& notification);
[[nodiscard]] std::optional<PushClientServerReachabilityNetworkType> networkTypeOf(
    const NSNotification& notification);

/// The error of each of the three that tell of a failure.
[[nodiscard]] const NSError* errorOf(const NSNotification& notification);

/// Whether the verification code was sent; false when asking for it failed.
[[nodiscard]] std::optional<bool> sentOf(const NSNotification& notification);

/// Whether the user's code was right; false when checking it failed.
[[nodiscard]] std::optional<bool> verifiedOf(const NSNotification& notification);

}  // namespace xel
