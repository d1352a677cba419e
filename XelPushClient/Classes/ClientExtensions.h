#pragma once

#include <memory>

#include "XelPushClient/Classes/Notifications/LocalNotifications.h"

namespace xel {

/// Parts of the client that a host may leave out; a null one is not there.
struct ClientExtensions {
    std::shared_ptr<RichNotificationPresenter> richNotifications;
};

}  // namespace xel
