#pragma once

#include <functional>
#include <optional>
#include <string>

#include "XelPushClient/Foundation/NSError.h"
#include "XelPushClient/Platform/PushClientServerReachability.h"
#include "XelPushClient/Platform/UNNotificationContent.h"

namespace xel {

struct PushClientMessage;

// The handler blocks that a host may set, beside or instead of delegates. Each is called on the manager's run
// loop and may call any operation of the manager.
using PushClientMessageHandlerBlock = std::function<void(const PushClientMessage& message)>;
using PushClientMessageUILocalNotificationHandlerBlock =
    std::function<void(const PushClientMessage& message)>;
using PushClientMessageDeliveredHandlerBlock = std::function<void(const PushClientMessage& message)>;
using PushClientRegistrationHandlerBlock = std::function<void(
    bool registered, const std::optional<std::string>& userId, const std::optional<NSError>& error)>;
using PushClientServerConnectionStateHandlerBlock = std::function<void()>;
using PushClientServerReachabilityCallBackBlock =
    std::function<void(bool reachable, PushClientServerReachabilityNetworkType networkType)>;
using PushClientVerificationHandlerBlock =
    std::function<void(bool sent, const std::optional<NSError>& error)>;
using PushClientVerifyUserCodeHandlerBlock =
    std::function<void(bool verified, const std::optional<NSError>& error)>;

// What the operations on rich notifications call back.

/// Takes the path of a downloaded file; missing when there is none.
using MediaFileHandler = std::function<void(const std::optional<std::string>& file)>;
/// Takes an attachment; missing when there is none.
using NotificationAttachmentHandler =
    std::function<void(const std::optional<UNNotificationAttachment>& attachment)>;
/// Takes the content that is to be shown.
using NotificationContentHandler = std::function<void(const UNNotificationContent& content)>;

}  // namespace xel
