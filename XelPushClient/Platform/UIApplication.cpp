#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

void UIApplication::attachNotificationCenter(const std::shared_ptr<NSNotificationCenter>& center) {
    std::erase_if(centers_, [&](const auto& known) { return known.expired() || known.lock() == center; });
    centers_.push_back(center);
}

void UIApplication::postLifecycleNotification(std::string_view name) {
    const NSNotification notification{std::string(name), this, {}};
    const auto centers = centers_;  // an observer may attach another manager's centre
    for (const auto& attached : centers) {
        if (const auto center = attached.lock()) {
            center->postNotification(notification);
        }
    }
}

}  // namespace xel
