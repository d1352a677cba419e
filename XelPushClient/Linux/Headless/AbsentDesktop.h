#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "XelPushClient/Platform/LocationSource.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

// What a machine without a bus has in the place of a desktop and of a location service. Thread: the run loop.

/// Grants nothing, and fails each request, later and with an error of `UNErrorDomain`. Attachments are made
/// all the same, for a host that shows its notifications itself.
class AbsentNotificationCenter final : public UNUserNotificationCenter {
public:
    explicit AbsentNotificationCenter(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    void setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> /*delegate*/) override {}
    void requestAuthorizationWithOptions(
        std::uint32_t options,
        std::function<void(bool granted, const std::optional<NSError>& error)> completion) override;
    void setNotificationCategories(std::vector<UNNotificationCategory> /*categories*/) override {}
    [[nodiscard]] Result<UNNotificationAttachment> attachmentWithIdentifier(
        std::string identifier, const std::optional<std::string>& file) override;
    void addNotificationRequest(UNNotificationRequest request,
                                std::function<void(const std::optional<NSError>& error)> completion) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
};

/// Ends each start, later, with `LocationErrorCode::NoService`.
class AbsentLocationSource final : public LocationSource {
public:
    explicit AbsentLocationSource(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    [[nodiscard]] std::unique_ptr<LocationUpdates> startUpdates(double distanceFilter,
                                                                Handler handler) override;

private:
    std::shared_ptr<NSRunLoop> runLoop_;
};

}  // namespace xel
