#include "XelPushClient/Linux/Desktop/LinuxNotificationCenter.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Application/NotificationAttachments.h"
#include "XelPushClient/Linux/Desktop/NotificationServer.h"
#include "XelPushClient/Linux/Desktop/NotifyCall.h"

namespace xel {

namespace {

constexpr std::uint32_t kEveryOption =
    UNNotificationOptionBadge | UNNotificationOptionSound | UNNotificationOptionAlert;
/// As many as the server's side remembers.
constexpr std::size_t kMostRemembered = 256;

}  // namespace

template <class Work>
auto LinuxNotificationCenter::onLoop(Work work) const {
    return [runLoop = std::weak_ptr(surroundings_.runLoop),
            guarded = life_.guarded(std::move(work))](const auto&... arguments) {
        if (const auto loop = runLoop.lock()) {
            loop->post([guarded, arguments...] { guarded(arguments...); });
        }
    };
}

LinuxNotificationCenter::LinuxNotificationCenter(Surroundings surroundings)
    : surroundings_(std::move(surroundings)) {
    NotificationServerEvents events;
    events.actionWasInvoked = onLoop(
        [](auto& self, std::uint64_t number, const std::string& key) { self.actionWasInvoked(number, key); });
    events.wasClosed = onLoop([](auto& self, std::uint64_t number) { self.forget(number); });
    events.hasTaken = onLoop([](auto& self) { self.hasLoggedMissingServer_ = false; });
    server_ =
        std::make_unique<NotificationServer>(surroundings_.connection, surroundings_.host, std::move(events));
}

LinuxNotificationCenter::~LinuxNotificationCenter() = default;

void LinuxNotificationCenter::setDelegate(std::weak_ptr<UNUserNotificationCenterDelegate> delegate) {
    delegate_ = std::move(delegate);
}

void LinuxNotificationCenter::requestAuthorizationWithOptions(
    std::uint32_t options, std::function<void(bool, const std::optional<NSError>&)> completion) {
    if (completion) {
        const bool isGranted = (options & surroundings_.application->allowedNotificationTypes()) != 0;
        surroundings_.runLoop->post(
            [completion = std::move(completion), isGranted] { completion(isGranted, std::nullopt); });
    }
}

void LinuxNotificationCenter::setNotificationCategories(std::vector<UNNotificationCategory> categories) {
    categories_ = std::move(categories);
}

Result<UNNotificationAttachment> LinuxNotificationCenter::attachmentWithIdentifier(
    std::string identifier, const std::optional<std::string>& file) {
    return attachmentOfFile(std::move(identifier), file);
}

void LinuxNotificationCenter::addNotificationRequest(UNNotificationRequest request, Completion completion) {
    const auto delegate = delegate_.lock();
    const bool isInFront = surroundings_.application->applicationState() == UIApplicationState::Active;
    if (delegate == nullptr || !isInFront) {
        present(request, kEveryOption, std::move(completion));
        return;
    }
    const UNNotification notification{request.identifier, request.content.userInfo};
    delegate->userNotificationCenterWillPresentNotification(
        *this, notification,
        life_.guarded(
            [request = std::move(request), completion = std::move(completion)](
                auto& self, std::uint32_t options) { self.present(request, options, completion); }));
}

void LinuxNotificationCenter::present(const UNNotificationRequest& request, std::uint32_t options,
                                      Completion completion) {
    options &= surroundings_.application->allowedNotificationTypes();
    const auto& content = request.content;
    if (content.badge && (options & UNNotificationOptionBadge) != 0) {
        surroundings_.application->setApplicationIconBadgeNumber(*content.badge);
    }
    if ((options & UNNotificationOptionAlert) == 0) {
        surroundings_.runLoop->post(life_.guarded([completion = std::move(completion)](auto& /*self*/) {
            if (completion) {
                completion(std::nullopt);  // taken, and not shown: as the host or the user wants it
            }
        }));
        return;
    }
    DesktopNotification notification;
    notification.identifier = request.identifier;
    notification.number = ++lastNumber_;
    notification.title = content.title.value_or("");
    notification.subtitle = content.subtitle.value_or("");
    notification.body = content.body.value_or("");
    notification.imageFile = content.attachments.empty() ? "" : content.attachments.front().file;
    notification.hasSound = content.sound && (options & UNNotificationOptionSound) != 0;
    notification.soundName = content.sound ? content.sound->name.value_or("") : "";
    notification.actions = actionsOf(content.categoryIdentifier);

    std::erase_if(shown_, [&](const Shown& shown) {
        return shown.notification.requestIdentifier == request.identifier;
    });
    if (shown_.size() >= kMostRemembered) {
        shown_.pop_front();
    }
    shown_.push_back({notification.number, {request.identifier, content.userInfo}, notification.actions});

    server_->show(std::move(notification), onLoop([completion = std::move(completion)](
                                                      auto& self, const std::optional<NSError>& error) {
                      self.wasShown(error, completion);
                  }));
}

void LinuxNotificationCenter::wasShown(const std::optional<NSError>& error, const Completion& completion) {
    if (error && !std::exchange(hasLoggedMissingServer_, true)) {
        surroundings_.logSink->write("Notifications are not shown: " + describeError(*error));
    }
    if (!completion) {
        return;
    }
    if (!error) {
        completion(std::nullopt);
        return;
    }
    completion(makeError(UNErrorDomain, static_cast<std::int64_t>(UNErrorCode::NotificationNotDelivered),
                         error->localizedDescription()));
}

void LinuxNotificationCenter::actionWasInvoked(std::uint64_t number, const std::string& key) {
    const auto shown =
        std::find_if(shown_.begin(), shown_.end(), [&](const Shown& one) { return one.number == number; });
    const auto delegate = delegate_.lock();
    if (shown == shown_.end() || delegate == nullptr) {
        return;
    }
    if (const auto identifier = actionIdentifierOfKey(shown->actions, key)) {
        const UNNotificationResponse response{*identifier, shown->notification};
        delegate->userNotificationCenterDidReceiveNotificationResponse(*this, response, [] {});
    }
}

void LinuxNotificationCenter::forget(std::uint64_t number) {
    std::erase_if(shown_, [&](const Shown& shown) { return shown.number == number; });
}

std::vector<UNNotificationAction> LinuxNotificationCenter::actionsOf(
    const std::optional<std::string>& categoryIdentifier) const {
    const auto category = std::find_if(categories_.begin(), categories_.end(), [&](const auto& known) {
        return categoryIdentifier == known.identifier;
    });
    return category != categories_.end() ? category->actions : std::vector<UNNotificationAction>();
}

void LinuxNotificationCenter::presentLocalNotification(const UILocalNotification& notification) {
    // An identifier of its own: a request with one that is on the screen would take that one's place.
    UNNotificationRequest request{"local-" + std::to_string(lastNumber_ + 1), {}};
    request.content.title = notification.alertTitle;
    request.content.body = notification.alertBody;
    if (notification.soundName) {
        request.content.sound = notification.soundName == UILocalNotificationDefaultSoundName
                                    ? UNNotificationSound::defaultSound()
                                    : UNNotificationSound::soundNamed(*notification.soundName);
    }
    request.content.userInfo = notification.userInfo;
    addNotificationRequest(std::move(request), nullptr);
}

void LinuxNotificationCenter::cancelAllLocalNotifications() {
    server_->withdrawEverything();
}

}  // namespace xel
