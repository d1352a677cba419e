#pragma once

#include <string>
#include <string_view>

#include "XelPushClient/Classes/Models/PushClientMessage.h"
#include "XelPushClient/Classes/Topics/ChannelStore.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

/// Shows a rich notification, with media and buttons, for a message that asks for one.
class RichNotificationPresenter {
public:
    virtual ~RichNotificationPresenter() = default;
    /// Takes the whole message in its dictionary form.
    virtual void showLocalRichNotificationWithPayload(const Dictionary& payload) = 0;
};

/// Shows a local notification for a message, when the message and the channel's preferences want one, and
/// for a region that was crossed.
///
/// Owner: the manager. Thread: the manager's run loop. The application's state and the flags `useAsAlert` and
/// `inApp` do not matter.
class LocalNotifications {
public:
    LocalNotifications(UIApplication& application, const ChannelStore& channels,
                       RichNotificationPresenter& rich);

    void showNotificationFor(const PushClientMessage& message);
    /// For a region that was crossed: `message` is the region's own for that crossing, "enter" or "exit".
    /// Nothing is shown for one without a text.
    void showNotificationOfRegion(const std::string& identifier, std::string_view crossing,
                                  const Value& message);

private:
    [[nodiscard]] bool isChannelMuted(const PushClientMessage& message) const;
    [[nodiscard]] UILocalNotification notificationFor(const PushClientMessage& message) const;

    UIApplication& application_;
    const ChannelStore& channels_;
    RichNotificationPresenter& rich_;
};

}  // namespace xel
