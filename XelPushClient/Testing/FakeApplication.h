#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "XelPushClient/Foundation/Lifeline.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

/// A host application whose lifecycle the test drives. It starts active, and its background time is used
/// up when the test says so. Thread: the run loop.
class FakeApplication final : public UIApplication {
public:
    explicit FakeApplication(std::shared_ptr<NSRunLoop> runLoop) : runLoop_(std::move(runLoop)) {}

    // Its lifecycle. Each changes the state and posts its notification before it returns. A step that
    // comes before another is taken too, and none is taken twice.

    void willResignActive();     ///< now Inactive
    void didEnterBackground();   ///< now Background; from the front it resigns active first
    void willEnterForeground();  ///< now Inactive
    void didBecomeActive();      ///< now Active; from the background it enters the foreground first
    void willTerminate();
    /// The process is gone, with its background tasks and what it waited for.
    void processHasEnded();
    /// Sets the state without a notification, as for a process that was launched in the background.
    void setApplicationState(UIApplicationState state) { state_ = state; }

    // Background time.

    void setRefusingBackgroundTasks(bool isRefusing) { isRefusingBackgroundTasks_ = isRefusing; }
    /// What is told in the background from now on, also when the time is used up, for a system that
    /// takes a reserve off. Unless it is set: 180 s, and then nothing.
    void setBackgroundTimeRemaining(double seconds) { backgroundTimeRemaining_ = seconds; }
    /// The background time is used up: every running task expires, and no other begins before the
    /// foreground. Throws `std::logic_error` when the application is not in the background.
    void expireBackgroundTasks();
    [[nodiscard]] std::vector<std::string> runningBackgroundTaskNames() const;
    /// Forgets what was begun, asked for and presented so far.
    void clearRecords();
    /// The name of every task that has begun.
    [[nodiscard]] const std::vector<std::string>& begunBackgroundTaskNames() const { return begunTaskNames_; }

    // How the system answers requests for permission and for a push token.

    /// Permission and token requests are answered with this token...
    void answerWithToken(Data token) { tokenAnswer_ = std::move(token); }
    /// ...or with this failure...
    void answerWithFailure(NSError error) { tokenAnswer_ = std::move(error); }
    /// ...or not at all, until `releaseAnswers`. Until told otherwise: a failure, as on a system without
    /// push tokens.
    void setHoldingAnswers(bool isHolding) { isHoldingAnswers_ = isHolding; }
    void releaseAnswers();
    /// The token changes: everybody who has asked for one is told.
    void changeToken(const Data& token);
    /// The kinds of notification that the user allows: no others are granted. At first all.
    void setAllowedTypes(std::uint32_t types) { allowedTypes_ = types; }
    /// An older system has `registerForRemoteNotificationTypes` only.
    void setRespondsToRegisterUserNotificationSettings(bool responds) { respondsToSettings_ = responds; }

    /// One request for permission or a push token.
    struct TokenRequest {
        std::string operation;  ///< the port's operation that was called
        std::uint32_t types = 0;
    };
    [[nodiscard]] const std::vector<TokenRequest>& tokenRequests() const { return tokenRequests_; }

    /// A remote notification arrives: a block posted to the run loop tells the attached delegates. It is
    /// kept while there are none.
    void receiveRemoteNotification(Dictionary payload);

    // What the user sees.

    [[nodiscard]] const std::vector<UILocalNotification>& presentedNotifications() const {
        return presented_;
    }
    [[nodiscard]] std::size_t cancelAllCount() const { return cancelAllCount_; }

    // The port.

    [[nodiscard]] UIApplicationState applicationState() const override { return state_; }
    UIBackgroundTaskIdentifier beginBackgroundTaskWithName(std::string_view name,
                                                           std::function<void()> expirationHandler) override;
    void endBackgroundTask(UIBackgroundTaskIdentifier identifier) override;
    [[nodiscard]] double backgroundTimeRemaining() const override;
    [[nodiscard]] std::int64_t applicationIconBadgeNumber() const override { return badge_; }
    void setApplicationIconBadgeNumber(std::int64_t number) override { badge_ = number; }
    [[nodiscard]] bool respondsToRegisterUserNotificationSettings() const override {
        return respondsToSettings_;
    }
    void registerUserNotificationSettings(const UIUserNotificationSettings& settings,
                                          std::weak_ptr<UIApplicationDelegate> requester) override;
    void registerForRemoteNotificationTypes(std::uint32_t types,
                                            std::weak_ptr<UIApplicationDelegate> requester) override;
    void registerForRemoteNotifications(std::weak_ptr<UIApplicationDelegate> requester) override;
    [[nodiscard]] UIUserNotificationSettings currentUserNotificationSettings() const override {
        return {typesAskedFor_ & allowedTypes_};
    }
    void presentLocalNotificationNow(const UILocalNotification& notification) override;
    void cancelAllLocalNotifications() override;

private:
    struct Task {
        std::string name;
        std::function<void()> expirationHandler;
    };
    using Answer = std::function<void(FakeApplication&, UIApplicationDelegate&)>;

    void enter(UIApplicationState state, std::string_view notification);
    void answer(const std::weak_ptr<UIApplicationDelegate>& requester, Answer answer);
    void answerToken(const std::weak_ptr<UIApplicationDelegate>& requester);
    void tellToken(const std::weak_ptr<UIApplicationDelegate>& requester);
    void delegateWasAttached() override { scheduleTelling(); }
    void scheduleTelling();
    void tellNextNotification();

    static constexpr double kBackgroundTime = 180.0;

    std::shared_ptr<NSRunLoop> runLoop_;
    UIApplicationState state_ = UIApplicationState::Active;
    std::map<UIBackgroundTaskIdentifier, Task> tasks_;
    std::vector<std::string> begunTaskNames_;
    UIBackgroundTaskIdentifier lastTask_ = UIBackgroundTaskInvalid;
    bool isRefusingBackgroundTasks_ = false;
    bool isBackgroundTimeUsedUp_ = false;
    std::optional<double> backgroundTimeRemaining_;
    std::variant<Data, NSError> tokenAnswer_ =
        makeError("FakeApplication", 3000, "this system gives no push tokens");
    bool isHoldingAnswers_ = false;
    std::vector<std::function<void()>> heldAnswers_;
    std::uint32_t allowedTypes_ = 0xFFFFFFFF;
    bool respondsToSettings_ = true;
    std::uint32_t typesAskedFor_ = 0;
    std::vector<TokenRequest> tokenRequests_;
    std::vector<std::weak_ptr<UIApplicationDelegate>> tokenRequesters_;
    std::deque<Dictionary> remoteNotifications_;
    std::int64_t badge_ = 0;
    std::vector<UILocalNotification> presented_;
    std::size_t cancelAllCount_ = 0;
    Lifeline<FakeApplication> life_{*this};
};

}  // namespace xel
