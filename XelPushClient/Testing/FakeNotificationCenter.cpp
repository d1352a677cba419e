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
