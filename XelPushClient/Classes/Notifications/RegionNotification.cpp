#include "XelPushClient/Classes/Notifications/RegionNotification.h"

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {
namespace {

std::optional<std::string> textOf(const Value* value) {
    const std::string* text = value != nullptr ? value->asString() : nullptr;
    return text != nullptr && !isEmptyOrBlank(std::string_view(*text)) ? std::optional(*text) : std::nullopt;
}

}  // namespace

std::optional<UILocalNotification> regionNotification(const Value& message, const std::string& identifier,
                                                      std::string_view crossing) {
    UILocalNotification notification;
    if (const Dictionary* block = message.asDictionary()) {
        notification.alertTitle = textOf(block->find("title"));
        notification.alertBody = textOf(block->find("body"));
    } else {
        notification.alertBody = textOf(&message);
    }
    if (!notification.alertTitle && !notification.alertBody) {
        return std::nullopt;
    }
    notification.soundName = std::string(UILocalNotificationDefaultSoundName);
    notification.userInfo.set("geofence", Dictionary{{"id", identifier}, {"crossing", crossing}});
    return notification;
}

}  // namespace xel
