#include "XelPushClient/Classes/Notifications/LocalNotifications.h"

#include "XelPushClient/Classes/Notifications/RegionNotification.h"
#include "XelPushClient/Foundation/DictionaryReading.h"

namespace xel {

LocalNotifications::LocalNotifications(UIApplication& application, const ChannelStore& channels,
                                       RichNotificationPresenter& rich)
    : application_(application), channels_(channels), rich_(rich) {}

void LocalNotifications::showNotificationFor(const PushClientMessage& message) {
    if (message.silent) {
        return;
    }
    // Before the channel's preference, which mutes plain notifications only.
    if (message.notification && message.notification->contains("mutableContent")) {
        rich_.showLocalRichNotificationWithPayload(message.toDict());
        return;
    }
    if (!isChannelMuted(message)) {
        application_.presentLocalNotificationNow(notificationFor(message));
    }
}

void LocalNotifications::showNotificationOfRegion(const std::string& identifier, std::string_view crossing,
                                                  const Value& message) {
    if (auto notification = regionNotification(message, identifier, crossing)) {
        notification->applicationIconBadgeNumber = application_.applicationIconBadgeNumber();
        application_.presentLocalNotificationNow(*notification);
    }
}

bool LocalNotifications::isChannelMuted(const PushClientMessage& message) const {
    const auto preference =
        message.channel ? channels_.notificationSettingsFor(*message.channel) : std::nullopt;
    if (!preference) {
        return false;
    }
    const Value* alert = preference->find("alert");
    return alert == nullptr || !alert->truth();
}

UILocalNotification LocalNotifications::notificationFor(const PushClientMessage& message) const {
    // A channel's own sound does not reach the notification: it always carries the default one.
    UILocalNotification notification;
    if (message.notification) {
        notification.alertTitle = textUnder(*message.notification, "title");
        notification.alertBody = textUnder(*message.notification, "body");
        notification.applicationIconBadgeNumber =
            integerUnder(*message.notification, "badge").value_or(application_.applicationIconBadgeNumber());
    }
    if (!notification.alertBody) {
        notification.alertBody = message.messageBody;
    }
    notification.soundName = std::string(UILocalNotificationDefaultSoundName);
    notification.userInfo.set("message", message.toDict());
    return notification;
}

}  // namespace xel
