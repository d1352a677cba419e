#pragma once

#include <functional>
#include <memory>

#include "XelPushClient/Classes/Core/ClientLife.h"
#include "XelPushClient/Classes/Core/TVRLog.h"
#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/Platform/UIApplication.h"

namespace xel {

/// When the connection is tried again after an error: three seconds later, while the application is active.
///
/// Owner: `BrokerConnection`. Thread: the manager's run loop.
class Reconnects {
public:
    struct Surroundings {
        const ClientLife& life;
        NSRunLoop& runLoop;
        const UIApplication& application;
        const LogOutput& log;
        /// Makes the attempt, unless one is under way.
        std::function<void()> connect;
    };

    explicit Reconnects(Surroundings surroundings);
    Reconnects(const Reconnects&) = delete;
    Reconnects& operator=(const Reconnects&) = delete;
    ~Reconnects();

    /// An attempt begins: the time to the next one is the shortest again.
    void attemptBegins();
    /// Plans the next attempt, unless one was to be left out. A timer that is running already goes on: only
    /// what is planned last can be cancelled.
    void connectionFailed();
    void cancel();

    /// The next failure plans nothing.
    void forceNextClose() { forceClose_ = true; }
    [[nodiscard]] bool forceClose() const { return forceClose_; }
    /// Seconds; 0 before the first attempt.
    [[nodiscard]] double reconnectTime() const { return reconnectTime_; }
    [[nodiscard]] const std::shared_ptr<NSTimer>& reconnectTimer() const { return reconnectTimer_; }

private:
    void reconnectToServer();

    Surroundings surroundings_;
    std::shared_ptr<NSTimer> reconnectTimer_;
    double reconnectTime_ = 0.0;
    bool forceClose_ = false;
    ClientLife::WayInto<Reconnects> wayIn_;
};

}  // namespace xel
