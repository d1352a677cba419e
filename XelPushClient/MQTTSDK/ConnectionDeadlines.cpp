#include "XelPushClient/MQTTSDK/ConnectionDeadlines.h"

#include <algorithm>

namespace xel {
namespace {

// A look at a deadline that comes later than this found the run loop held up by somebody's block, and what
// the broker answered in time may wait behind that block.
constexpr std::chrono::seconds kLateLook{1};

// What an answer that waits gets to be looked at.
constexpr std::chrono::seconds kReprieve{1};

}  // namespace

ConnectionDeadlines::ConnectionDeadlines(TimePoint now, const Limits& limits)
    : limits_(limits), connectDeadline_(now + limits.connect), lastWrite_(now) {
    // Who asks for a short keep-alive wants to know soon, and the broker counts from the same PINGREQ.
    if (limits_.keepAlive > Duration::zero()) {
        limits_.pingResponse = std::min(limits_.pingResponse, limits_.keepAlive);
    }
}

void ConnectionDeadlines::didBeginToConnect(TimePoint now) {
    connectDeadline_ = now + limits_.connect;
    isReprieved_ = false;
}

void ConnectionDeadlines::didConnect(TimePoint now) {
    connectDeadline_.reset();
    isReprieved_ = false;
    lastWrite_ = now;
}

void ConnectionDeadlines::didWritePingRequest(TimePoint now) {
    lastWrite_ = now;
    pingDeadline_ = now + limits_.pingResponse;
    isReprieved_ = false;
}

void ConnectionDeadlines::didReceivePingResponse() {
    pingDeadline_.reset();
}

std::optional<ConnectionDeadlines::TimePoint> ConnectionDeadlines::next() const {
    // One question at a time: until it is answered neither the keep-alive nor silence asks again.
    if (connectDeadline_ || pingDeadline_) {
        return connectDeadline_ ? connectDeadline_ : pingDeadline_;
    }
    std::optional<TimePoint> next;
    if (limits_.keepAlive > Duration::zero()) {
        // Counted from the last packet of ours, of whatever kind (section 3.1.2.10).
        next = lastWrite_ + limits_.keepAlive;
    }
    if (silentSince_) {
        const TimePoint tooSilent = *silentSince_ + limits_.silence;
        next = next ? std::min(*next, tooSilent) : tooSilent;
    }
    return next;
}

ConnectionDeadlines::Due ConnectionDeadlines::check(TimePoint now, bool readingIsHeldUp) {
    const auto at = next();
    if (!at || now < *at) {
        return Due::Nothing;
    }
    if (connectDeadline_) {
        // Before CONNACK nothing is delivered, so no turn of the owner's can hold reading up.
        return isPassed(connectDeadline_, now, false) ? Due::ConnectTimedOut : Due::Nothing;
    }
    if (pingDeadline_) {
        return isPassed(pingDeadline_, now, readingIsHeldUp) ? Due::PingTimedOut : Due::Nothing;
    }
    return Due::PingRequest;
}

bool ConnectionDeadlines::isPassed(std::optional<TimePoint>& deadline, TimePoint now, bool readingIsHeldUp) {
    const bool cameLate = now - *deadline > kLateLook && !isReprieved_;
    if (!readingIsHeldUp && !cameLate) {
        return true;
    }
    // A late look is forgiven once, so that a loop that is always late still finds a dead broker.
    // Reading that is held up is forgiven each time: how long it is, is the owner's matter.
    isReprieved_ = cameLate;
    deadline = now + kReprieve;
    return false;
}

}  // namespace xel
