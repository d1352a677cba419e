#include "XelPushClient/Classes/Broker/Reconnects.h"

#include <chrono>
#include <utility>

namespace xel {
namespace {

constexpr std::string_view kReconnectToServer = "-[PushClientManager reconnectToServer]";

constexpr double kFirstReconnectTime = 3.0;
constexpr double kLongestDoubledReconnectTime = 64.0;

}  // namespace

Reconnects::Reconnects(Surroundings surroundings)
    : surroundings_(std::move(surroundings)), wayIn_(surroundings_.life.wayInto(*this)) {}

Reconnects::~Reconnects() {
    cancel();
}

void Reconnects::attemptBegins() {
    reconnectTime_ = kFirstReconnectTime;
}

void Reconnects::connectionFailed() {
    if (std::exchange(forceClose_, false)) {
        return;
    }
    const auto delay =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(reconnectTime_));
    reconnectTimer_ = surroundings_.runLoop.scheduleTimer(delay, [wayIn = wayIn_] {
        if (const auto self = wayIn.hold()) {
            self->reconnectToServer();
        }
    });
}

void Reconnects::cancel() {
    if (const auto timer = std::exchange(reconnectTimer_, nullptr)) {
        timer->invalidate();
    }
}

void Reconnects::reconnectToServer() {
    if (surroundings_.application.applicationState() != UIApplicationState::Active) {
        // No timer takes its place: coming to the front connects by itself.
        TVRLog(surroundings_.log, "[%@]: Ignore Reconnecting, we are not active!", kReconnectToServer);
        return;
    }
    TVRLog(surroundings_.log, "[%@]: Reconnecting... ", kReconnectToServer);
    reconnectTimer_.reset();
    // An attempt that begins takes this back at once, so that hosts see longer times only of those that are
    // ignored because the session is still busy.
    if (reconnectTime_ < kLongestDoubledReconnectTime) {
        reconnectTime_ *= 2;
    }
    surroundings_.connect();
}

}  // namespace xel
