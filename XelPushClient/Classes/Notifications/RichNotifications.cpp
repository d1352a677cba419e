#include "XelPushClient/Classes/Notifications/RichNotifications.h"

#include <utility>

#include "XelPushClient/Classes/Notifications/MediaTypes.h"
#include "XelPushClient/Foundation/DictionaryReading.h"

namespace xel {
namespace {

/// A message's block, its keys decoded; the block itself is what comes back with the user's answer.
LocalRichNotification decode(Dictionary block) {
    LocalRichNotification notification;
    notification.title = textUnder(block, "title");
    notification.body = textUnder(block, "body");
    notification.subtitle = textUnder(block, "subtitle");
    notification.sound = textUnder(block, "sound");
    notification.badge = integerUnder(block, "badge").value_or(0);
    notification.category = textUnder(block, "category");
    notification.userInfo = std::move(block);
    return notification;
}

}  // namespace

RichNotifications::RichNotifications(Surroundings surroundings)
    : surroundings_(surroundings), wayIn_(surroundings.life.wayInto(*this)) {}

RichNotifications::~RichNotifications() = default;

std::optional<UNNotificationAction> RichNotifications::createNotificationActionWithTitle(
    const std::optional<std::string>& title, const std::optional<std::string>& identifier,
    std::uint32_t options) {
    if (title.value_or("").empty() || identifier.value_or("").empty()) {
        return std::nullopt;
    }
    return UNNotificationAction{*identifier, *title, options};
}

void RichNotifications::createCategoryNotificationWithActions(const std::optional<Array>& actions,
                                                              const std::optional<std::string>& identifier) {
    if (!actions || !identifier) {
        return;
    }
    UNNotificationCategory category{*identifier, {}};
    for (const Value& described : *actions) {
        const Dictionary* action = described.asDictionary();
        if (action == nullptr) {
            continue;
        }
        const auto options = static_cast<std::uint32_t>(integerUnder(*action, "options").value_or(0));
        if (auto made = createNotificationActionWithTitle(textUnder(*action, "title"),
                                                          textUnder(*action, "id"), options)) {
            category.actions.push_back(std::move(*made));
        }
    }
    if (!category.actions.empty()) {
        surroundings_.notificationCenter.setNotificationCategories({std::move(category)});
    }
}

void RichNotifications::downloadDataForUrlString(const std::string& url, const std::string& mediaType,
                                                 MediaFileHandler handler) {
    if (!handler) {
        return;
    }
    auto extension = extensionForFileName(fileExtensionForMediaType(mediaType));
    surroundings_.urlSession.downloadTaskWithURL(
        url, [wayIn = wayIn_, extension = std::move(extension),
              handler = std::move(handler)](const Result<std::string>& temporaryFile) {
            const auto self = wayIn.hold();
            if (!self) {
                return;
            }
            const auto& surroundings = self->surroundings_;
            if (!temporaryFile) {
                TVRLog(surroundings.log, "%@", temporaryFile.error().localizedDescription());
                handler(std::nullopt);
                return;
            }
            const std::string file = temporaryFile.value() + extension;
            // A file that could not be moved is missed when it is attached, and that is logged.
            (void)surroundings.files.moveItem(temporaryFile.value(), file);
            handler(file);
        });
}

void RichNotifications::loadAttachmentForUrlString(const std::string& url, const std::string& mediaType,
                                                   NotificationAttachmentHandler handler) {
    if (!handler) {
        return;
    }
    // The inner handler runs only while this object is there.
    downloadDataForUrlString(
        url, mediaType, [this, handler = std::move(handler)](const std::optional<std::string>& file) {
            const auto attachment = surroundings_.notificationCenter.attachmentWithIdentifier("", file);
            if (!attachment) {
                TVRLog(surroundings_.log, "%@", attachment.error().localizedDescription());
                handler(std::nullopt);
                return;
            }
            handler(attachment.value());
        });
}

void RichNotifications::didReceiveNotificationRequest(const UNNotificationRequest& request,
                                                      NotificationContentHandler contentHandler) {
    UNNotificationContent content = request.content;
    const Dictionary& userInfo = content.userInfo;
    createCategoryNotificationWithActions(
        arrayUnder(userInfo, "actions"),
        textUnder(dictionaryUnder(userInfo, "aps").value_or(Dictionary()), "category"));
    const auto mediaUrl = textUnder(userInfo, "mediaUrl");
    const auto mediaType = textUnder(userInfo, "mediaType");
    if (!mediaUrl || !mediaType) {
        return;  // the extension's own time-out shows what arrived
    }
    loadAttachmentForUrlString(*mediaUrl, *mediaType,
                               [content = std::move(content), contentHandler = std::move(contentHandler)](
                                   const std::optional<UNNotificationAttachment>& attachment) mutable {
                                   if (attachment) {
                                       content.attachments = {*attachment};
                                   }
                                   if (contentHandler) {
                                       contentHandler(content);
                                   }
                               });
}

void RichNotifications::showLocalRichNotificationWithPayload(const Dictionary& payload) {
    LocalRichNotification notification =
        decode(dictionaryUnder(payload, "notification").value_or(Dictionary()));
    const Dictionary& block = *notification.userInfo;
    createCategoryNotificationWithActions(arrayUnder(block, "actions"), notification.category);
    const auto mediaUrl = textUnder(block, "mediaUrl");
    const auto mediaType = textUnder(block, "mediaType");
    const auto number = ++lastNumber_;
    if (!mediaUrl || !mediaType) {
        present(notification, number);
        return;
    }
    // The handler runs only while this object is there.
    downloadDataForUrlString(*mediaUrl, *mediaType,
                             [this, number, notification = std::move(notification)](
                                 const std::optional<std::string>& file) mutable {
                                 notification.filePath = file;
                                 present(notification, number);
                             });
}

void RichNotifications::createMutableLocalNotificationTitle(
    const std::optional<std::string>& title, const std::optional<std::string>& body,
    const std::optional<std::string>& subtitle, const std::optional<std::string>& sound, std::int64_t badge,
    const std::optional<std::string>& category, const std::optional<Dictionary>& userInfo,
    const std::optional<std::string>& filePath) {
    present({title, body, subtitle, sound, badge, category, userInfo, filePath}, ++lastNumber_);
}

void RichNotifications::present(const LocalRichNotification& notification, std::uint64_t number) {
    if (number < shownNumber_) {
        return;
    }
    shownNumber_ = number;
    surroundings_.notificationCenter.addNotificationRequest(
        {std::string(kLocalRichNotificationIdentifier), contentOf(notification)},
        [wayIn = wayIn_](const std::optional<NSError>& error) {
            const auto self = wayIn.hold();
            if (!self) {
                return;
            }
            const LogOutput& log = self->surroundings_.log;
            if (error) {
                TVRLog(log, "Error happened %@", error->localizedDescription());
            } else {
                TVRLog(log, "Done ...........");
            }
        });
}

UNNotificationContent RichNotifications::contentOf(const LocalRichNotification& notification) const {
    UNNotificationContent content;
    content.title = localized(notification.title);
    content.body = localized(notification.body);
    content.subtitle = localized(notification.subtitle);
    content.sound = notification.sound ? UNNotificationSound::soundNamed(*notification.sound)
                                       : UNNotificationSound::defaultSound();
    content.badge = notification.badge;
    content.userInfo = notification.userInfo.value_or(Dictionary());
    content.categoryIdentifier = notification.category;
    if (notification.filePath) {
        auto attachment = surroundings_.notificationCenter.attachmentWithIdentifier(
            notification.category.value_or(""), notification.filePath);
        if (attachment) {
            content.attachments = {std::move(attachment).value()};
        } else {
            TVRLog(surroundings_.log, "Attachment error %@", attachment.error().localizedDescription());
        }
    }
    return content;
}

std::optional<std::string> RichNotifications::localized(const std::optional<std::string>& key) const {
    if (!key) {
        return std::nullopt;
    }
    return surroundings_.strings.localizedUserNotificationStringForKey(*key);
}

}  // namespace xel
