#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "XelPushClient/MQTTSDK/MQTTSessionOptions.h"
#include "XelPushClient/MQTTSDK/SentThing.h"

namespace xel {

/// What a broker seems to end connections on: the only way in which it can refuse a publication (MQTT 3.1.1
/// section 3.3.5), and the way in which some refuse a topic filter.
///
/// Ends of connections in a row make the session send one thing at a time. What is then alone unanswered at
/// three ends in a row is set aside and tried alone later, ever more seldom; after five tries that ended the
/// connection while the broker acknowledged others of its kind, it is given up. A broker that acknowledges
/// nothing (whose disk is full, say) so never makes anything the one given up. Knows no timer: it is told the
/// time. Owner: the session's outgoing traffic. Thread: the session's run loop.
class Suspects {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr int kEndsToSendOneAtATime = 2;
    static constexpr int kEndsToSetAside = 3;
    static constexpr int kTriesToGiveUp = 5;

    explicit Suspects(const MQTTSessionOptions& options)
        : firstRetry_(options.firstRetry), longestRetry_(options.longestRetry) {}

    [[nodiscard]] bool callForOneAtATime() const { return endsInARow_ >= kEndsToSendOneAtATime; }
    [[nodiscard]] bool isSetAside(const SentThing& thing) const;
    [[nodiscard]] bool isEmpty() const { return setAside_.empty() && !lastAlone_; }

    /// The broker ended the connection while `alone`, and nothing else, was unanswered; none when it was not
    /// one thing. Returns what this end has set aside or given up: `isSetAside` tells which.
    [[nodiscard]] std::optional<SentThing> connectionWasEnded(const std::optional<SentThing>& alone,
                                                              TimePoint now);

    /// The broker answered it.
    void didAnswer(const SentThing& thing);
    /// Nothing that was sent is unanswered any more: the row of ends is over.
    void didAnswerEverything() { endsInARow_ = 0; }
    /// It is not sent any more, for another reason.
    void forget(const SentThing& thing);

    struct Try {
        SentThing thing;
        TimePoint dueAt;
    };
    /// The next thing set aside that is to be tried, of those that can be.
    [[nodiscard]] std::optional<Try> nextTry(const std::function<bool(const SentThing&)>& canTry) const;

private:
    struct SetAside {
        std::chrono::milliseconds wait{0};
        TimePoint dueAt;
        int failedTries = 0;
        bool othersWereAcknowledged = false;
    };

    std::chrono::milliseconds firstRetry_;
    std::chrono::milliseconds longestRetry_;
    int endsInARow_ = 0;
    std::optional<SentThing> lastAlone_;
    int endsOfLastAlone_ = 0;
    std::map<SentThing, SetAside> setAside_;
};

}  // namespace xel
