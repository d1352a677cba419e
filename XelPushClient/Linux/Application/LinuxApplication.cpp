#include "XelPushClient/Linux/Application/LinuxApplication.h"

#include <utility>
#include <vector>

#include "XelPushClient/Linux/Application/BackgroundTasks.h"
#include "XelPushClient/Linux/Application/RemoteNotificationQueue.h"
#include "XelPushClient/Platform/UNUserNotificationCenter.h"

namespace xel {

namespace {

/// The code that the platform gives where remote notifications are not supported.
constexpr std::string_view kNoPushTokenDomain = "NSCocoaErrorDomain";
constexpr std::int64_t kNoPushTokenCode = 3010;

}  // namespace

/// The attached delegates, as those whom remote notifications are told.
class LinuxApplication::Takers final : public RemoteNotificationTakers {
public:
    explicit Takers(LinuxApplication& application) : application_(application) {}

    [[nodiscard]] bool isAnyoneThere() const override { return application_.hasDelegate(); }
    void take(const Dictionary& payload) override { application_.tellRemoteNotification(payload); }

private:
    LinuxApplication& application_;
};

LinuxApplication::LinuxApplication(Surroundings surroundings)
    : surroundings_(std::move(surroundings)),
      tasks_(std::make_unique<BackgroundTasks>(surroundings_.runLoop, surroundings_.clock)),
      takers_(std::make_unique<Takers>(*this)),
      notifications_(std::make_shared<RemoteNotificationQueue>(kMostKeptNotifications, surroundings_.runLoop,
                                                               surroundings_.logSink, *takers_)) {}

LinuxApplication::~LinuxApplication() = default;

void LinuxApplication::enter(UIApplicationState state, std::string_view notification) {
    state_ = state;
    postLifecycleNotification(notification);
}

void LinuxApplication::willResignActive() {
    if (state_ == UIApplicationState::Active) {
        enter(UIApplicationState::Inactive, UIApplicationWillResignActiveNotification);
    }
}

void LinuxApplication::enterBackground(std::chrono::milliseconds longestTime) {
    const auto held = holdItself();
    willResignActive();
    // Before observers hear of the background: they may ask how much time is left.
    tasks_->limitTime(longestTime, life_.guarded([](LinuxApplication& self) { self.backgroundTimeIsUp(); }));
    if (state_ != UIApplicationState::Background) {
        enter(UIApplicationState::Background, UIApplicationDidEnterBackgroundNotification);
    }
}

void LinuxApplication::willEnterForeground() {
    if (state_ != UIApplicationState::Background) {
        return;
    }
    tasks_->liftLimit();
    enter(UIApplicationState::Inactive, UIApplicationWillEnterForegroundNotification);
}

void LinuxApplication::becomeActive() {
    const auto held = holdItself();
    willEnterForeground();
    if (state_ != UIApplicationState::Active) {
        enter(UIApplicationState::Active, UIApplicationDidBecomeActiveNotification);
    }
}

void LinuxApplication::willTerminate() {
    postLifecycleNotification(UIApplicationWillTerminateNotification);
}

bool LinuxApplication::hasBackgroundTasks() const {
    return !tasks_->isEmpty();
}

void LinuxApplication::setBackgroundTasksEndedHandler(std::function<void()> handler) {
    tasks_->setAllEndedHandler(std::move(handler));
}

void LinuxApplication::setLocalNotificationPresenter(Presenter presenter, Canceller canceller) {
    presenter_ = std::move(presenter);
    canceller_ = std::move(canceller);
}

void LinuxApplication::backgroundTimeIsUp() {
    const auto held = holdItself();
    tasks_->expire();
}

UIBackgroundTaskIdentifier LinuxApplication::beginBackgroundTaskWithName(
    std::string_view /*name*/, std::function<void()> expirationHandler) {
    return tasks_->begin(std::move(expirationHandler));
}

void LinuxApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
    tasks_->end(identifier);
}

double LinuxApplication::backgroundTimeRemaining() const {
    return tasks_->timeRemaining();
}

void LinuxApplication::answer(std::weak_ptr<UIApplicationDelegate> requester, Answer answer) {
    surroundings_.runLoop->post(
        life_.guarded([requester = std::move(requester), answer = std::move(answer)](LinuxApplication& self) {
            if (const auto delegate = requester.lock()) {
                answer(self, *delegate);
            }
        }));
}

void LinuxApplication::registerUserNotificationSettings(const UIUserNotificationSettings& settings,
                                                        std::weak_ptr<UIApplicationDelegate> requester) {
    typesAskedFor_ = settings.types;
    answer(std::move(requester), [granted = currentUserNotificationSettings()](
                                     LinuxApplication& self, UIApplicationDelegate& delegate) {
        delegate.applicationDidRegisterUserNotificationSettings(self, granted);
    });
}

void LinuxApplication::registerForRemoteNotificationTypes(std::uint32_t types,
                                                          std::weak_ptr<UIApplicationDelegate> requester) {
    typesAskedFor_ = types;
    registerForRemoteNotifications(std::move(requester));
}

void LinuxApplication::registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) {
    if (tokenSource_ == nullptr) {
        answer(std::move(requester), [](LinuxApplication& self, UIApplicationDelegate& delegate) {
            delegate.applicationDidFailToRegisterForRemoteNotificationsWithError(
                self, makeError(kNoPushTokenDomain, kNoPushTokenCode,
                                "Remote notifications are not supported: this system gives no push tokens"));
        });
        return;
    }
    std::erase_if(tokenRequesters_,
                  [&](const auto& known) { return known.expired() || known.lock() == requester.lock(); });
    tokenRequesters_.push_back(requester);
    tokenSource_->requestToken(life_.guarded([requester](LinuxApplication& self, const Result<Data>& token) {
        const auto delegate = requester.lock();
        if (!delegate) {
            return;
        }
        if (token) {
            delegate->applicationDidRegisterForRemoteNotificationsWithDeviceToken(self, token.value());
        } else {
            delegate->applicationDidFailToRegisterForRemoteNotificationsWithError(self, token.error());
        }
    }));
}

void LinuxApplication::pushTokenHasChanged(const Data& token) {
    for (const auto& requester : tokenRequesters_) {
        answer(requester, [token](LinuxApplication& self, UIApplicationDelegate& delegate) {
            delegate.applicationDidRegisterForRemoteNotificationsWithDeviceToken(self, token);
        });
    }
}

void LinuxApplication::receiveRemoteNotification(Dictionary payload) {
    notifications_->add(std::move(payload));
}

void LinuxApplication::delegateWasAttached() {
    notifications_->tellLater();
}

void LinuxApplication::setApplicationIconBadgeNumber(std::int64_t number) {
    badge_ = number;
    if (badgePresenter_) {
        badgePresenter_(number);
    }
}

void LinuxApplication::presentLocalNotificationNow(const UILocalNotification& notification) {
    if (notification.applicationIconBadgeNumber > 0 &&
        (allowedNotificationTypes() & UNNotificationOptionBadge) != 0) {
        setApplicationIconBadgeNumber(notification.applicationIconBadgeNumber);
    }
    if (presenter_) {
        const Presenter presenter = presenter_;  // it may set another one
        presenter(notification);
    } else if (!std::exchange(hasLoggedMissingPresenter_, true)) {
        surroundings_.logSink->write(
            "A local notification is not shown: no notification service is connected");
    }
}

void LinuxApplication::cancelAllLocalNotifications() {
    if (canceller_) {
        canceller_();
    }
}

}  // namespace xel
