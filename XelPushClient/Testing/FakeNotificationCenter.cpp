#include "XelPushClient/Testing/FakeNotificationCenter.h"

#include <utility>

namespace xel {

void FakeNotificationCenter::requestAuthorizationWithOptions(
    std::uint32_t options,
    std::function<void(bool granted, const std::optional<NSError>& error)> completion) {
    requests_.push_back(options);
    runLoop_->post([completion = std::move(completion), isGranted = isGranted_, error = error_] {
        completion(isGranted && !error, error);
    });
}

Result<UNNotificationAttachment> FakeNotificationCenter::attachmentWithIdentifier(
    std::string identifier, const std::optional<std::string>& file) {
    if (!file || !files_->exists(*file)) {
        return makeError(UNErrorDomain, static_cast<std::int64_t>(UNErrorCode::AttachmentInvalidURL),
                         "Invalid attachment file URL");
    }
    return UNNotificationAttachment{std::move(identifier), *file};
}

void FakeNotificationCenter::addNotificationRequest(
    UNNotificationRequest request, std::function<void(const std::optional<NSError>& error)> completion) {
    if (!requestError_) {
        ++requestCount_;
        std::erase_if(onScreen_, [&](const auto& shown) { return shown.identifier == request.identifier; });
        onScreen_.push_back(std::move(request));
    }
    if (completion) {
        runLoop_->post([completion = std::move(completion), error = requestError_] { completion(error); });
    }
}

std::optional<std::uint32_t> FakeNotificationCenter::present(const UNNotification& notification) {
    const auto delegate = delegate_.lock();
    if (!delegate) {
        return std::nullopt;
    }
    const auto answer = std::make_shared<std::optional<std::uint32_t>>();
    delegate->userNotificationCenterWillPresentNotification(
        *this, notification, [answer](std::uint32_t options) { *answer = options; });
    return *answer;
}

bool FakeNotificationCenter::respond(const UNNotificationResponse& response) {
    const auto delegate = delegate_.lock();
    if (!delegate) {
        return false;
    }
    const auto isComplete = std::make_shared<bool>(false);
    delegate->userNotificationCenterDidReceiveNotificationResponse(*this, response,
                                                                   [isComplete] { *isComplete = true; });
    return *isComplete;
}

}  // namespace xel
