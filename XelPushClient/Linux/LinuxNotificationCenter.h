#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// A notification service that asks nobody: on Linux a program may show notifications without being granted
/// it. It is connected to no notification server: requests are kept and taken, and the first leaves one log
/// line.
class LinuxNotificationCenter final : public UNUserNotificationCenter {
public:
    LinuxNotificationCenter(std::shared_ptr<NSRunLoop> runLoop, std::shared_ptr<LogSink> logSink)
        : runLoop_(std::move(runLoop)), logSink_(std::move(logSink)) {}

    void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) override;
    [[nodiscard]] std::shared_ptr<UNUserNotificationCenterDelegate> delegate() const {
        return delegate_.lock();
    }

    void requestAuthorizationWithOptions(
        std::uint32_t options, std::function<void(bool, const std::optional<NSError>&)> completion) override;
    void setNotificationCategories(std::vector<UNNotificationCategory> categories) override;
    [[nodiscard]] Result<UNNotificationAttachment> attachmentWithIdentifier(
        std::string identifier, const std::optional<std::string>& file) override;
    void addNotificationRequest(UNNotificationRequest request,
                                std::function<void(const std::optional<NSError>&)> completion) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
    std::shared_ptr<LogSink> logSink_;
    std::vector<UNNotificationCategory> categories_;
    std::map<std::string, UNNotificationRequest> requests_;
    bool hasLoggedMissingServer_ = false;
    std::weak_ptr<UNUserNotificationCenterDelegate> delegate_;
};

}  // namespace xel
