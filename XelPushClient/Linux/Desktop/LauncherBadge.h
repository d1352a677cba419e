#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "XelPushClient/Linux/Bus/DBusConnection.h"

namespace xel {

/// The number on the host's icon, for launchers and docks that listen to
/// com.canonical.Unity.LauncherEntry. Nobody answers, so a desktop without such a launcher shows nothing.
/// Thread: any; nothing waits.
class LauncherBadge {
public:
    /// The host's desktop file without folder and ".desktop", by which the launcher knows its icon.
    LauncherBadge(std::shared_ptr<DBusConnection> connection, const std::string& desktopId);

    /// Shows the number; 0 and less take it away.
    void setCount(std::int64_t count) const;

private:
    std::shared_ptr<DBusConnection> connection_;
    std::string desktopId_;
};

}  // namespace xel
