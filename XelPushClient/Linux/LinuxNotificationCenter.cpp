#include "XelPushClient/Linux/LinuxNotificationCenter.h"

#include "XelPushClient/Linux/NotificationAttachments.h"

namespace xel {

void LinuxNotificationCenter::setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) {
    delegate_ = std::move(delegate);
}

void LinuxNotificationCenter::requestAuthorizationWithOptions(
    std::uint32_t /*options*/, std::function<void(bool, const std::optional<NSError>&)> completion) {
    if (completion) {
        runLoop_->post([completion = std::move(completion)] { completion(true, std::nullopt); });
    }
}

void LinuxNotificationCenter::setNotificationCategories(std::vector<UNNotificationCategory> categories) {
    categories_ = std::move(categories);
}

Result<UNNotificationAttachment> LinuxNotificationCenter::attachmentWithIdentifier(
    std::string identifier, const std::optional<std::string>& file) {
    return attachmentOfFile(std::move(identifier), file);
}

void LinuxNotificationCenter::addNotificationRequest(
    UNNotificationRequest request, std::function<void(const std::optional<NSError>&)> completion) {
    if (!std::exchange(hasLoggedMissingServer_, true)) {
        logSink_->write("A notification is not shown: no notification service is connected");
    }
    std::string identifier = request.identifier;
    requests_.insert_or_assign(std::move(identifier), std::move(request));
    if (completion) {
        runLoop_->post([completion = std::move(completion)] { completion(std::nullopt); });
    }
}

}  // namespace xel
