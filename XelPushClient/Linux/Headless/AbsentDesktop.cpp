#include "XelPushClient/Linux/Headless/AbsentDesktop.h"

#include "XelPushClient/Linux/Application/NotificationAttachments.h"

namespace xel {

namespace {

class AbsentUpdates final : public LocationUpdates {
public:
    explicit AbsentUpdates(LocationSource::Handler handler)
        : handler_(std::make_shared<LocationSource::Handler>(std::move(handler))) {}

    /// What is posted holds it weakly: nothing comes once the updates are dropped.
    [[nodiscard]] std::weak_ptr<LocationSource::Handler> handler() const { return handler_; }

private:
    std::shared_ptr<LocationSource::Handler> handler_;
};

}  // namespace

void AbsentNotificationCenter::requestAuthorizationWithOptions(
    std::uint32_t /*options*/,
    std::function<void(bool granted, const std::optional<NSError>& error)> completion) {
    if (completion) {
        runLoop_->post([completion = std::move(completion)] { completion(false, std::nullopt); });
    }
}

Result<UNNotificationAttachment> AbsentNotificationCenter::attachmentWithIdentifier(
    std::string identifier, const std::optional<std::string>& file) {
    return attachmentOfFile(std::move(identifier), file);
}

void AbsentNotificationCenter::addNotificationRequest(
    UNNotificationRequest /*request*/, std::function<void(const std::optional<NSError>& error)> completion) {
    if (completion) {
        runLoop_->post([completion = std::move(completion)] {
            completion(makeError(UNErrorDomain,
                                 static_cast<std::int64_t>(UNErrorCode::NotificationNotDelivered),
                                 "This machine was made without a desktop, so no notification is shown"));
        });
    }
}

std::unique_ptr<LocationUpdates> AbsentLocationSource::startUpdates(double /*distanceFilter*/,
                                                                    Handler handler) {
    auto updates = std::make_unique<AbsentUpdates>(std::move(handler));
    runLoop_->post([weak = updates->handler()] {
        if (const auto held = weak.lock()) {
            const Handler called = *held;  // it may drop the updates, and itself with them
            called(makeLocationError(LocationErrorCode::NoService,
                                     "This machine was made without a location service"));
        }
    });
    return updates;
}

}  // namespace xel
