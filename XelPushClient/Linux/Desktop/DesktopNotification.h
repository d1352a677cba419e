#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "XelPushClient/Platform/UNNotificationContent.h"

namespace xel {

/// A notification as it goes to the desktop, still in the client's words. Texts are plain.
struct DesktopNotification {
    /// Takes the place of what is on screen under the same identifier.
    std::string identifier;
    /// Tells one showing from another; comes back with what the user does.
    std::uint64_t number = 0;
    std::string title;
    std::string subtitle;
    std::string body;
    /// The absolute path of a picture; empty: none.
    std::string imageFile;
    bool hasSound = true;
    /// A sound's name in the desktop's sound theme; empty: the usual one of a message.
    std::string soundName;
    std::vector<UNNotificationAction> actions;
};

/// Who shows it: how the desktop names the host.
struct DesktopHost {
    std::string applicationName;
    /// The host's desktop file without folder and ".desktop"; empty: it has none.
    std::string desktopId;
};

}  // namespace xel
