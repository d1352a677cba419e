#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "XelPushClient/Platform/Clock.h"
#include "XelPushClient/Platform/Diagnostics.h"
#include "XelPushClient/Platform/MQTTSession.h"

namespace xel {

/// Follows the attempts to connect, their connections and the disconnects, and records how each ended.
///
/// Owner: the manager; the broker connection and its session tell it what happens. Thread: the manager's run
/// loop. While nobody listens it neither reads a clock nor keeps anything.
class ConnectionDiagnostics {
public:
    /// `diagnostics` may be null.
    ConnectionDiagnostics(const std::shared_ptr<Diagnostics>& diagnostics,
                          std::shared_ptr<const Clock> clock);

    void attemptWillStart(const std::string& host, std::uint16_t port, bool usingTLS);
    void didConnect();
    void didFail(MQTTSessionEvent event, const std::optional<NSError>& error);

    /// The client ends what there is: what the session is to call when that has come to its end; empty while
    /// nobody listens.
    [[nodiscard]] MQTTSession::CloseEnded willDisconnect();

    /// The client has ended: nothing more is recorded.
    void end() { listener_.reset(); }

private:
    using TimePoint = std::chrono::steady_clock::time_point;
    struct Listener {
        std::shared_ptr<Diagnostics> diagnostics;
        std::shared_ptr<const Clock> clock;
        /// Disconnects that have not come to their end: they end together.
        int disconnectsUnderWay = 0;
        TimePoint disconnectStart;
        bool wasEverythingSent = true;

        [[nodiscard]] std::chrono::milliseconds since(TimePoint start) const;
        void disconnectDidEnd(bool everythingWasSent);
    };
    enum class Phase { None, Attempting, Connected };

    /// Whether there is somebody to be told of the attempt's end, which this is.
    [[nodiscard]] bool isListeningDuring(Phase phase) const { return listener_ && phase_ == phase; }
    void attemptDidEnd(ConnectionAttemptOutcome outcome, const std::optional<NSError>& error);

    /// Null while nobody listens. What is on its way when the client ends finds it gone.
    std::shared_ptr<Listener> listener_;
    ConnectionAttempt attempt_;
    Phase phase_ = Phase::None;
    TimePoint phaseStart_;
};

}  // namespace xel
