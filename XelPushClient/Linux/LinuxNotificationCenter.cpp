#include "XelPushClient/Linux/LinuxNotificationCenter.h"

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

}  // namespace xel
