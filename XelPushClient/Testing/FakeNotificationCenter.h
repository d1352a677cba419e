#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// A notification service in which the test plays the user.
/// Thread: the run loop.
class FakeNotificationCenter final : public UNUserNotificationCenter {
public:
    explicit FakeNotificationCenter(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) override {
        delegate_ = std::move(delegate);
    }
    void requestAuthorizationWithOptions(
        std::uint32_t options,
        std::function<void(bool granted, const std::optional<NSError>& error)> completion) override;

    /// How the user answers requests for permission. Granted at first; an error refuses too.
    void setAuthorizationAnswer(bool isGranted, std::optional<NSError> error = std::nullopt) {
        isGranted_ = isGranted;
        error_ = std::move(error);
    }

    /// The options of every request for permission so far.
    [[nodiscard]] const std::vector<std::uint32_t>& authorizationRequests() const { return requests_; }

    [[nodiscard]] bool hasDelegate() const { return !delegate_.expired(); }

    /// A notification arrives while the application is in front. What the delegate's completion was given,
    /// once it was called inside the call; none without a delegate.
    std::optional<std::uint32_t> present(const UNNotification& notification);

    /// The user acts on a notification. Whether the delegate completed inside the call.
    bool respond(const UNNotificationResponse& response);

private:
    std::shared_ptr<NSRunLoop> runLoop_;
    std::weak_ptr<UNUserNotificationCenterDelegate> delegate_;
    bool isGranted_ = true;
    std::optional<NSError> error_;
    std::vector<std::uint32_t> requests_;
};

}  // namespace xel
