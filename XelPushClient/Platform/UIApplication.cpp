#include "XelPushClient/Platform/UIApplication.h"

#include "XelPushClient/Platform/AttachedObjects.h"

namespace xel {

struct UIApplication::Attached {
    AttachedObjects<NSNotificationCenter> centers;
    AttachedObjects<UIApplicationDelegate> delegates;
};

UIApplication::UIApplication() : attached_(std::make_unique<Attached>()) {}

UIApplication::~UIApplication() = default;

void UIApplication::attachNotificationCenter(const std::shared_ptr<NSNotificationCenter>& center) {
    attached_->centers.attach(center);
}

void UIApplication::attachDelegate(const std::shared_ptr<UIApplicationDelegate>& delegate) {
    attached_->delegates.attach(delegate);
    delegateWasAttached();
}

bool UIApplication::hasDelegate() const {
    return attached_->delegates.hasAny();
}

void UIApplication::tellRemoteNotification(const Dictionary& payload) {
    const auto held = holdItself();
    for (const auto& attached : attached_->delegates.list()) {  // one of them may attach another
        if (const auto delegate = attached.lock()) {
            delegate->applicationDidReceiveRemoteNotification(*this, payload);
        }
    }
}

void UIApplication::postLifecycleNotification(std::string_view name) {
    const auto held = holdItself();
    const NSNotification notification{std::string(name), this, {}};
    for (const auto& attached :
         attached_->centers.list()) {  // an observer may attach another manager's centre
        if (const auto center = attached.lock()) {
            center->postNotification(notification);
        }
    }
}

}  // namespace xel
