#pragma once

#include <chrono>
#include <optional>

namespace xel {

/// What one connection has to do, or to have heard, by when: CONNACK, PINGREQ, PINGRESP (MQTT 3.1.1 sections
/// 3.1.2.10 and 3.12). Knows no timer: it is told the time and asked what is next.
class ConnectionDeadlines {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::steady_clock::duration;

    enum class Due { Nothing, PingRequest, ConnectTimedOut, PingTimedOut };

    struct Limits {
        Duration connect;
        Duration keepAlive;  ///< 0 sends no PINGREQ for it
        Duration pingResponse;
        Duration silence;  ///< how long an answer may be outstanding without an octet before PINGREQ asks
    };

    ConnectionDeadlines(TimePoint now, const Limits& limits);

    /// Connecting has only just begun, or not yet: the time for it counts from now.
    void didBeginToConnect(TimePoint now);
    void didConnect(TimePoint now);
    void didWrite(TimePoint now) { lastWrite_ = now; }
    void didWritePingRequest(TimePoint now);
    void didReceivePingResponse();

    /// An answer to something but a PINGREQ is outstanding, and this is when the broker was last heard, or
    /// when that was written if it was later; none when nothing is outstanding.
    void setSilentSince(std::optional<TimePoint> since) { silentSince_ = since; }
    [[nodiscard]] bool isListeningForAnswers() const { return silentSince_.has_value(); }

    /// How long a PINGRESP may take: no longer than the keep-alive.
    [[nodiscard]] Duration longestPing() const { return limits_.pingResponse; }
    [[nodiscard]] bool isAwaitingPingResponse() const { return pingDeadline_.has_value(); }

    /// When to ask `check` next, at the latest; none when nothing is awaited.
    [[nodiscard]] std::optional<TimePoint> next() const;

    /// What is due. `readingIsHeldUp` says that the broker's answer may have arrived and not been looked at:
    /// then no answer is missed yet.
    [[nodiscard]] Due check(TimePoint now, bool readingIsHeldUp);

private:
    [[nodiscard]] bool isPassed(std::optional<TimePoint>& deadline, TimePoint now, bool readingIsHeldUp);

    Limits limits_;
    std::optional<TimePoint> connectDeadline_;
    std::optional<TimePoint> pingDeadline_;
    std::optional<TimePoint> silentSince_;
    TimePoint lastWrite_;
    bool isReprieved_ = false;
};

}  // namespace xel
