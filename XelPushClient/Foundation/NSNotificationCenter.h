#pragma once

#include <any>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Text.h"

namespace xel {

/// What a notification can be about: the manager or the application.
class NSObject {
public:
    NSObject() = default;
    NSObject(const NSObject&) = delete;
    NSObject& operator=(const NSObject&) = delete;
    virtual ~NSObject() = default;
};

/// The named details of a notification: plain C++ values, read back by their type.
class NotificationInfo {
public:
    NotificationInfo() = default;
    NotificationInfo(std::initializer_list<std::pair<Text, std::any>> entries);

    /// The detail under the key when it is of type `T`, otherwise null.
    template <class T>
    [[nodiscard]] const T* get(std::string_view key) const {
        for (const auto& [name, value] : entries_) {
            if (name == key) {
                return std::any_cast<T>(&value);
            }
        }
        return nullptr;
    }

    [[nodiscard]] bool empty() const { return entries_.empty(); }
    [[nodiscard]] std::size_t size() const { return entries_.size(); }

private:
    std::vector<std::pair<std::string, std::any>> entries_;
};

/// One broadcast: its name, the object it is about (null: none in particular) and its details.
struct NSNotification {
    NSNotification(Text notificationName, NSObject* aboutObject = nullptr, NotificationInfo info = {})
        : name(std::move(notificationName).string()), object(aboutObject), userInfo(std::move(info)) {}

    std::string name;
    NSObject* object = nullptr;
    NotificationInfo userInfo;
};

/// Carries broadcasts from whoever posts them to whoever observes their name.
///
/// Owner: a home. Managers with separate homes never hear each other. Thread: every operation from any
/// thread. `postNotification` calls the observers of that moment one after the other, in the order in
/// which they were added, on the posting thread and with no lock held: an observer may post, add and
/// remove. An observer that is removed during a post is not called any more.
class NSNotificationCenter {
public:
    using Block = std::function<void(const NSNotification&)>;

    class Observer;
    /// Names an observation for removing it. Dropping the token does not end the observation.
    using Token = std::weak_ptr<Observer>;

    /// Calls the block for every post of the name about that object (null: about anything).
    Token addObserver(Text name, const NSObject* object, Block block);

    /// Ends the observation; harmless when it has ended already.
    void removeObserver(const Token& token);

    /// Whether anybody observes the name: saves building a notification that nobody hears.
    [[nodiscard]] bool hasObserverFor(std::string_view name) const;

    void postNotification(const NSNotification& notification);

    /// As above, but stops as soon as an observer has ended the sender's life.
    void postNotification(const NSNotification& notification, const std::weak_ptr<const void>& sender);

private:
    [[nodiscard]] std::vector<std::shared_ptr<Observer>> listenersTo(
        const NSNotification& notification) const;

    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<Observer>> observers_;
};

}  // namespace xel
