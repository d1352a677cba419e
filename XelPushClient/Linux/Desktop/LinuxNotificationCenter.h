#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Linux/Desktop/DesktopNotification.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UILocalNotification.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

class DBusConnection;
class LinuxApplication;
class NotificationServer;

/// Notifications on the user's desktop, by the session's notification server.
///
/// A server that cannot be reached is told to the log once, until it was reached again; nothing waits for
/// it. While the application is active the delegate is asked before a notification is shown. Buttons, and the
/// notification itself when it is clicked, come back to the delegate. What the host or the user does not
/// allow is left out. Thread: the run loop.
class LinuxNotificationCenter final : public UNUserNotificationCenter {
public:
    struct Surroundings {
        std::shared_ptr<NSRunLoop> runLoop;
        std::shared_ptr<LogSink> logSink;
        std::shared_ptr<LinuxApplication> application;
        /// To the session bus.
        std::shared_ptr<DBusConnection> connection;
        DesktopHost host;
    };

    explicit LinuxNotificationCenter(Surroundings surroundings);
    ~LinuxNotificationCenter() override;
    LinuxNotificationCenter(const LinuxNotificationCenter&) = delete;
    LinuxNotificationCenter& operator=(const LinuxNotificationCenter&) = delete;

    void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) override;
    [[nodiscard]] std::shared_ptr<UNUserNotificationCenterDelegate> delegate() const {
        return delegate_.lock();
    }
    /// Granted at once, for a program on Linux asks nobody; refused when everything is switched off.
    void requestAuthorizationWithOptions(
        std::uint32_t options, std::function<void(bool, const std::optional<NSError>&)> completion) override;
    void setNotificationCategories(std::vector<UNNotificationCategory> categories) override;
    [[nodiscard]] Result<UNNotificationAttachment> attachmentWithIdentifier(
        std::string identifier, const std::optional<std::string>& file) override;
    void addNotificationRequest(UNNotificationRequest request,
                                std::function<void(const std::optional<NSError>&)> completion) override;

    /// A plain local notification: each stands on screen for itself.
    void presentLocalNotification(const UILocalNotification& notification);
    /// Takes everything off the screen.
    void cancelAllLocalNotifications();

private:
    using Completion = std::function<void(const std::optional<NSError>&)>;
    /// What is on screen, as far as its answer needs it.
    struct Shown {
        std::uint64_t number = 0;
        UNNotification notification;
        std::vector<UNNotificationAction> actions;
    };

    /// A block for the connection's thread, which has the work done with the centre, on its loop, if both are
    /// still there.
    template <class Work>
    [[nodiscard]] auto onLoop(Work work) const;
    void present(const UNNotificationRequest& request, std::uint32_t options, Completion completion);
    void wasShown(const std::optional<NSError>& error, const Completion& completion);
    void actionWasInvoked(std::uint64_t number, const std::string& key);
    void forget(std::uint64_t number);
    [[nodiscard]] std::vector<UNNotificationAction> actionsOf(
        const std::optional<std::string>& categoryIdentifier) const;

    Surroundings surroundings_;
    std::weak_ptr<UNUserNotificationCenterDelegate> delegate_;
    std::vector<UNNotificationCategory> categories_;
    std::deque<Shown> shown_;
    std::uint64_t lastNumber_ = 0;
    bool hasLoggedMissingServer_ = false;
    Lifeline<LinuxNotificationCenter> life_{*this};
    std::unique_ptr<NotificationServer> server_;
};

}  // namespace xel
