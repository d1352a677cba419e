#include "XelPushClient/Foundation/NSNotificationCenter.h"

#include <algorithm>
#include <atomic>

namespace xel {

NotificationInfo::NotificationInfo(std::initializer_list<std::pair<Text, std::any>> entries) {
    for (const auto& [key, value] : entries) {
        entries_.emplace_back(key.string(), value);
    }
}

class NSNotificationCenter::Observer {
public:
    Observer(std::string name, const NSObject* object, Block block)
        : name_(std::move(name)), object_(object), block_(std::move(block)) {}

    [[nodiscard]] bool hears(std::string_view name) const { return name_ == name; }

    [[nodiscard]] bool hears(const NSNotification& notification) const {
        return hears(notification.name) && (object_ == nullptr || object_ == notification.object);
    }

    void end() { hasEnded_ = true; }

    void call(const NSNotification& notification) const {
        if (!hasEnded_) {
            block_(notification);
        }
    }

private:
    std::string name_;
    const NSObject* object_;
    Block block_;
    std::atomic<bool> hasEnded_ = false;
};

NSNotificationCenter::Token NSNotificationCenter::addObserver(Text name, const NSObject* object,
                                                              Block block) {
    auto observer = std::make_shared<Observer>(std::move(name).string(), object, std::move(block));
    const std::lock_guard lock(mutex_);
    observers_.push_back(observer);
    return observer;
}

void NSNotificationCenter::removeObserver(const Token& token) {
    const auto observer = token.lock();
    if (!observer) {
        return;
    }
    // Before it leaves the list: a post under way has its listeners already. What the block holds may
    // come back here when it is destroyed, which `observer` puts off until the lock is open.
    observer->end();
    const std::lock_guard lock(mutex_);
    std::erase(observers_, observer);
}

bool NSNotificationCenter::hasObserverFor(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    return std::any_of(observers_.begin(), observers_.end(),
                       [&](const auto& observer) { return observer->hears(name); });
}

std::vector<std::shared_ptr<NSNotificationCenter::Observer>> NSNotificationCenter::listenersTo(
    const NSNotification& notification) const {
    std::vector<std::shared_ptr<Observer>> listeners;
    const std::lock_guard lock(mutex_);
    for (const auto& observer : observers_) {
        if (observer->hears(notification)) {
            listeners.push_back(observer);
        }
    }
    return listeners;
}

void NSNotificationCenter::postNotification(const NSNotification& notification) {
    for (const auto& listener : listenersTo(notification)) {
        listener->call(notification);
    }
}

void NSNotificationCenter::postNotification(const NSNotification& notification,
                                            const std::weak_ptr<const void>& sender) {
    for (const auto& listener : listenersTo(notification)) {
        if (sender.expired()) {
            return;
        }
        listener->call(notification);
    }
}

}  // namespace xel
