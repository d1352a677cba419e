#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/HandlerBlocks.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Classes/Notifications/LocalNotifications.h"
#include "XelPushClient/Platform/LocalizedStrings.h"
#include "XelPushClient/Platform/NSFileManager.h"
#include "XelPushClient/Platform/NSURLSession.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

/// The fixed identifier of local rich notifications: each replaces the one before on screen.
inline constexpr std::string_view kLocalRichNotificationIdentifier = "TAVRINCUSTOMRICH";

/// What a local rich notification is made of; texts are localisable keys.
struct LocalRichNotification {
    std::optional<std::string> title;
    std::optional<std::string> body;
    std::optional<std::string> subtitle;
    /// Missing: the default sound.
    std::optional<std::string> sound;
    std::int64_t badge = 0;
    std::optional<std::string> category;
    std::optional<Dictionary> userInfo;
    std::optional<std::string> filePath;
};

/// Builds notifications with media and buttons: local ones from a message, and for a service extension the
/// enriched content of a remote one. Failures are logged, and the notification is shown without media.
///
/// Owner: the manager. Thread: the manager's run loop; handlers are called there too. After this object is
/// gone no handler is called.
class RichNotifications final : public RichNotificationPresenter {
public:
    struct Surroundings {
        const ClientLife& life;
        UNUserNotificationCenter& notificationCenter;
        NSURLSession& urlSession;
        NSFileManager& files;
        LocalizedStrings& strings;
        const LogOutput& log;
    };

    explicit RichNotifications(Surroundings surroundings);
    RichNotifications(const RichNotifications&) = delete;
    RichNotifications& operator=(const RichNotifications&) = delete;
    ~RichNotifications() override;

    /// None when title or identifier is missing or empty.
    [[nodiscard]] static std::optional<UNNotificationAction> createNotificationActionWithTitle(
        const std::optional<std::string>& title, const std::optional<std::string>& identifier,
        std::uint32_t options);

    /// Installs the category, in place of every other, when at least one action is usable.
    void createCategoryNotificationWithActions(const std::optional<Array>& actions,
                                               const std::optional<std::string>& identifier);

    /// The file carries the media type's extension, as far as a file's name may.
    void downloadDataForUrlString(const std::string& url, const std::string& mediaType,
                                  MediaFileHandler handler);
    void loadAttachmentForUrlString(const std::string& url, const std::string& mediaType,
                                    NotificationAttachmentHandler handler);

    void didReceiveNotificationRequest(const UNNotificationRequest& request,
                                       NotificationContentHandler contentHandler);

    void showLocalRichNotificationWithPayload(const Dictionary& payload) override;
    void createMutableLocalNotificationTitle(const std::optional<std::string>& title,
                                             const std::optional<std::string>& body,
                                             const std::optional<std::string>& subtitle,
                                             const std::optional<std::string>& sound, std::int64_t badge,
                                             const std::optional<std::string>& category,
                                             const std::optional<Dictionary>& userInfo,
                                             const std::optional<std::string>& filePath);

private:
    void present(const LocalRichNotification& notification, std::uint64_t number);
    [[nodiscard]] UNNotificationContent contentOf(const LocalRichNotification& notification) const;
    [[nodiscard]] std::optional<std::string> localized(const std::optional<std::string>& key) const;

    Surroundings surroundings_;
    /// Each local rich notification gets a number when it is asked for: media that arrives after a later one
    /// was shown comes too late to replace it.
    std::uint64_t lastNumber_ = 0;
    std::uint64_t shownNumber_ = 0;
    ClientLife::WayInto<RichNotifications> wayIn_;
};

}  // namespace xel
