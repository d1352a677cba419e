#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Linux/Bus/DBusConnection.h"
#include "XelPushClient/Linux/Desktop/DesktopNotification.h"

namespace xel {

/// What the user did. Called on the connection's thread, for as long as the connection is there.
struct NotificationServerEvents {
    /// The action's key, as in `NotifyCall`.
    std::function<void(std::uint64_t number, const std::string& key)> actionWasInvoked;
    /// It left the screen.
    std::function<void(std::uint64_t number)> wasClosed;
    /// There is a server: it has taken one. May be empty.
    std::function<void()> hasTaken;
};

/// The session's notification server, the owner of org.freedesktop.Notifications on the session bus.
///
/// The connection stays open, for the server tells of actions only to the connection that asked. A server
/// that dies is forgotten with what it showed; the next notification goes to whoever took its place, and is
/// suited to what that one can do. Thread: any; nothing waits.
class NotificationServer {
public:
    /// Without an error once the server has taken the notification, or a later one of the same identifier
    /// took its place first. Called on the connection's thread, or not at all when the connection goes.
    using Shown = std::function<void(const std::optional<NSError>& error)>;

    NotificationServer(std::shared_ptr<DBusConnection> connection, DesktopHost host,
                       NotificationServerEvents events);
    NotificationServer(const NotificationServer&) = delete;
    NotificationServer& operator=(const NotificationServer&) = delete;
    ~NotificationServer();

    void show(DesktopNotification notification, const Shown& shown);
    /// Takes everything off the screen that this object has shown.
    void withdrawEverything();

private:
    class Core;

    std::shared_ptr<DBusConnection> connection_;
    std::shared_ptr<Core> core_;
};

}  // namespace xel
