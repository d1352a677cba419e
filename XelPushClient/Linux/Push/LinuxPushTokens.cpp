#include "XelPushClient/Linux/Push/LinuxPushTokens.h"

#include <utility>

#include "XelPushClient/Linux/Application/LinuxApplication.h"
#include "XelPushClient/Linux/Push/DBusUnifiedPush.h"
#include "XelPushClient/Linux/Push/UnifiedPushConnector.h"
#include "XelPushClient/Linux/Push/UnifiedPushRules.h"

namespace xel {

namespace {

/// For a host that the session's bus does not know.
class NoPushTokens final : public PushTokenSource {
public:
    NoPushTokens(std::shared_ptr<NSRunLoop> runLoop, std::string reason)
        : runLoop_(std::move(runLoop)), reason_(std::move(reason)) {}

    void requestToken(Answer answer) override {
        runLoop_->post([answer = std::move(answer), reason = reason_] {
            answer(makeUnifiedPushError(UnifiedPushErrorCode::NoBusName, reason));
        });
    }
    void attachStore(const std::shared_ptr<NSUserDefaults>& /*store*/) override {}

private:
    const std::shared_ptr<NSRunLoop> runLoop_;
    const std::string reason_;
};

std::shared_ptr<PushTokenSource> makeNoPushTokens(const std::string& busName, const Machine& machine) {
    // Most hosts have no name, and want none: only one that cannot be is worth a line.
    if (busName.empty()) {
        return std::make_shared<NoPushTokens>(
            machine.runLoop, "There is no push token: the host has no name on the session's bus");
    }
    const std::string reason = "There is no push token: '" + busName + "' is no name for the session's bus";
    machine.logSink->write(reason);
    return std::make_shared<NoPushTokens>(machine.runLoop, reason);
}

}  // namespace

std::shared_ptr<PushTokenSource> makePushTokenSource(const PushTokenSettings& settings,
                                                     const Machine& machine,
                                                     const std::shared_ptr<DBusConnection>& connection,
                                                     const std::weak_ptr<LinuxApplication>& application) {
    if (!isBusName(settings.busName)) {
        return makeNoPushTokens(settings.busName, machine);
    }
    UnifiedPushConnector::Events events;
    events.tokenHasChanged = [application](const Data& token) {
        if (const auto target = application.lock()) {
            target->pushTokenHasChanged(token);
        }
    };
    events.notificationHasCome = [application](Dictionary payload) {
        if (const auto target = application.lock()) {
            target->receiveRemoteNotification(std::move(payload));
        }
    };
    return std::make_shared<UnifiedPushConnector>(
        UnifiedPushConnector::Surroundings{
            machine.runLoop, machine.logSink, machine.json,
            std::make_shared<DBusUnifiedPush>(
                machine.runLoop, machine.logSink, connection,
                DBusUnifiedPush::Host{settings.busName, settings.applicationName}),
            settings.distributor},
        std::move(events));
}

}  // namespace xel
