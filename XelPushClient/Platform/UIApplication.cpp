#include "XelPushClient/Platform/UIApplication.h"

#include <algorithm>

namespace xel {

void UIApplication::attachNotificationCenter(const std::shared_ptr<NSNotificationCenter>& center) {
    std::erase_if(centers_, [&](const auto& known) { return known.expired() || known.lock() == center; });
    centers_.push_back(center);
}

void UIApplication::attachDelegate(const std::shared_ptr<UIApplicationDelegate>& delegate) {
    std::erase_if(delegates_, [&](const auto& known) { return known.expired() || known.lock() == delegate; });
    delegates_.push_back(delegate);
    delegateWasAttached();
}

bool UIApplication::hasDelegate() const {
    return std::any_of(delegates_.begin(), delegates_.end(),
                       [](const auto& attached) { return !attached.expired(); });
}

void UIApplication::tellRemoteNotification(const Dictionary& payload) {
    const auto held = holdItself();
    const auto delegates = delegates_;  // one of them may attach another
    for (const auto& attached : delegates) {
        if (const auto delegate = attached.lock()) {
            delegate->applicationDidReceiveRemoteNotification(*this, payload);
        }
    }
}

void UIApplication::postLifecycleNotification(std::string_view name) {
    const auto held = holdItself();
    const NSNotification notification{std::string(name), this, {}};
    const auto centers = centers_;  // an observer may attach another manager's centre
    for (const auto& attached : centers) {
        if (const auto center = attached.lock()) {
            center->postNotification(notification);
        }
    }
}

}  // namespace xel
