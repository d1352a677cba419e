#pragma once

#include <map>
#include <string>
#include <vector>

#include <sdbus-c++/Types.h>

#include "XelPushClient/Linux/Desktop/DesktopNotification.h"

namespace xel {

/// What a notification server can do, of what makes a difference to the client.
struct ServerCapabilities {
    bool bodyMarkup = false;
    bool actions = false;
    bool sound = false;
};
[[nodiscard]] ServerCapabilities serverCapabilities(const std::vector<std::string>& names);

/// The arguments of org.freedesktop.Notifications.Notify that depend on the notification.
struct NotifyCall {
    std::string summary;
    std::string body;
    /// Keys and labels in turn. Keys are "default" and the action's place in the list: an identifier of the
    /// host's may be anything.
    std::vector<std::string> actions;
    std::map<std::string, sdbus::Variant> hints;
};
[[nodiscard]] NotifyCall notifyCall(const DesktopNotification& notification, const DesktopHost& host,
                                    const ServerCapabilities& server);

/// The identifier of the action that the server names by its key; missing for a key that was never given.
[[nodiscard]] std::optional<std::string> actionIdentifierOfKey(
    const std::vector<UNNotificationAction>& actions, const std::string& key);

}  // namespace xel
