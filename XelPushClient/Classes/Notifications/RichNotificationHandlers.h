#pragma once

#include <functional>
#include <optional>
#include <string>

#include "XelPushClient/Platform/UNNotificationContent.h"

namespace xel {

/// Takes the path of a downloaded file; missing when there is none.
using MediaFileHandler = std::function<void(const std::optional<std::string>& file)>;
/// Takes an attachment; missing when there is none.
using NotificationAttachmentHandler =
    std::function<void(const std::optional<UNNotificationAttachment>& attachment)>;
/// Takes the content that is to be shown.
using NotificationContentHandler = std::function<void(const UNNotificationContent& content)>;

}  // namespace xel
