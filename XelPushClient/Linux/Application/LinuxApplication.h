#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Linux/Application/PushTokenSource.h"
#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/LogSink.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

class BackgroundTasks;
class RemoteNotificationQueue;

/// The host program as an application. A program on Linux runs until it ends, so it is active from the start;
/// a host that has a foreground and a background says so by the calls below.
///
/// Thread: the run loop.
class LinuxApplication final : public UIApplication {
public:
    /// How long an application may go on working in the background.
    static constexpr std::chrono::seconds kBackgroundTime{180};
    /// Remote notifications that are kept while no delegate is attached; the oldest beyond them are dropped.
    static constexpr std::size_t kMostKeptNotifications = 64;

    using Presenter = std::function<void(const UILocalNotification&)>;
    using Canceller = std::function<void()>;

    /// What the application stands on.
    struct Surroundings {
        std::shared_ptr<NSRunLoop> runLoop;
        std::shared_ptr<Clock> clock;
        std::shared_ptr<LogSink> logSink;
        /// The kinds of notification that the user's own settings allow.
        std::uint32_t typesOfUser = 0xFFFFFFFF;
    };

    explicit LinuxApplication(Surroundings surroundings);
    ~LinuxApplication() override;

    // The host's calls. Each sets the state and posts its notification before it returns. A step that comes
    // before another is taken too: entering the background from the front resigns active first, becoming
    // active in the background enters the foreground first.

    void willResignActive();
    /// Tasks may go on for so long or, if the application is in the background already, for what is left.
    void enterBackground(std::chrono::milliseconds longestTime = kBackgroundTime);
    void willEnterForeground();
    void becomeActive();
    void willTerminate();

    [[nodiscard]] bool hasBackgroundTasks() const;
    /// Called whenever the last background task has ended, at the latest when the background time is up.
    void setBackgroundTasksEndedHandler(std::function<void()> handler);

    /// Who shows local notifications, and who takes them away again. Without a presenter the first
    /// notification leaves one log line and none is shown.
    void setLocalNotificationPresenter(Presenter presenter, Canceller canceller = nullptr);

    /// Who shows the number on the application's icon; called with every number that is set.
    void setBadgePresenter(std::function<void(std::int64_t number)> presenter) {
        badgePresenter_ = std::move(presenter);
    }

    /// The kinds of notification that the host allows, all at first. What neither it nor the user's own
    /// settings allow is not granted and not shown; 0 switches notifications off.
    void setAllowedNotificationTypes(std::uint32_t types) { typesOfHost_ = types; }
    /// What both allow.
    [[nodiscard]] std::uint32_t allowedNotificationTypes() const {
        return typesOfHost_ & surroundings_.typesOfUser;
    }

    /// Where push tokens come from. Without one there are none.
    void setPushTokenSource(std::shared_ptr<PushTokenSource> source) { tokenSource_ = std::move(source); }
    [[nodiscard]] const std::shared_ptr<PushTokenSource>& pushTokenSource() const { return tokenSource_; }

    // The source's calls.

    /// The token is another one than was answered: all who have asked for one are told, later.
    void pushTokenHasChanged(const Data& token);
    /// A remote notification has come: the attached delegates are told, later. While nobody is attached it is
    /// kept.
    void receiveRemoteNotification(Dictionary payload);

    // The port.

    [[nodiscard]] UIApplicationState applicationState() const override { return state_; }

    /// Refused once the background time is used up. A task that its handler leaves running then has ended.
    UIBackgroundTaskIdentifier beginBackgroundTaskWithName(std::string_view name,
                                                           std::function<void()> expirationHandler) override;
    void endBackgroundTask(UIBackgroundTaskIdentifier identifier) override;
    [[nodiscard]] double backgroundTimeRemaining() const override;

    [[nodiscard]] std::int64_t applicationIconBadgeNumber() const override { return badge_; }
    void setApplicationIconBadgeNumber(std::int64_t number) override;

    [[nodiscard]] bool respondsToRegisterUserNotificationSettings() const override { return true; }
    void registerUserNotificationSettings(const UIUserNotificationSettings& settings,
                                          std::weak_ptr<UIApplicationDelegate> requester) override;

    /// Both answer with the source's token, or with a failure.
    void registerForRemoteNotificationTypes(std::uint32_t types,
                                            std::weak_ptr<UIApplicationDelegate> requester) override;
    void registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) override;

    [[nodiscard]] UIUserNotificationSettings currentUserNotificationSettings() const override {
        return {typesAskedFor_ & allowedNotificationTypes()};
    }

    void presentLocalNotificationNow(const UILocalNotification& notification) override;
    void cancelAllLocalNotifications() override;

private:
    using Answer = std::function<void(LinuxApplication&, UIApplicationDelegate&)>;
    class Takers;

    void enter(UIApplicationState state, std::string_view notification);
    void backgroundTimeIsUp();
    void answer(std::weak_ptr<UIApplicationDelegate> requester, Answer answer);
    void delegateWasAttached() override;

    Surroundings surroundings_;
    UIApplicationState state_ = UIApplicationState::Active;
    std::unique_ptr<BackgroundTasks> tasks_;
    std::uint32_t typesOfHost_ = 0xFFFFFFFF;
    std::uint32_t typesAskedFor_ = 0;
    std::int64_t badge_ = 0;
    std::function<void(std::int64_t)> badgePresenter_;
    Presenter presenter_;
    Canceller canceller_;
    bool hasLoggedMissingPresenter_ = false;
    std::shared_ptr<PushTokenSource> tokenSource_;
    std::vector<std::weak_ptr<UIApplicationDelegate>> tokenRequesters_;
    std::unique_ptr<Takers> takers_;
    std::shared_ptr<RemoteNotificationQueue> notifications_;
    Lifeline<LinuxApplication> life_{*this};
};

}  // namespace xel
