#pragma once

#include <optional>
#include <string>

#include "XelPushClient/Foundation/Result.h"
#include "XelPushClient/Platform/UNNotificationContent.h"

namespace xel {

/// The attachment of a regular file that this process may read; otherwise an error of `UNErrorDomain`.
[[nodiscard]] Result<UNNotificationAttachment> attachmentOfFile(std::string identifier,
                                                                const std::optional<std::string>& file);

}  // namespace xel
