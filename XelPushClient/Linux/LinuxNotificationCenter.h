#pragma once

#include <memory>
#include <utility>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// A notification service that asks nobody: on Linux a program may show notifications without being granted
/// it.
class LinuxNotificationCenter final : public UNUserNotificationCenter {
public:
    explicit LinuxNotificationCenter(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) override;
    [[nodiscard]] std::shared_ptr<UNUserNotificationCenterDelegate> delegate() const {
        return delegate_.lock();
    }

    void requestAuthorizationWithOptions(
        std::uint32_t options, std::function<void(bool, const std::optional<NSError>&)> completion) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
    std::weak_ptr<UNUserNotificationCenterDelegate> delegate_;
};

}  // namespace xel
