#include "XelPushClient/MQTTSDK/ConnectionDeadlines.h"

namespace xel {
namespace {

// A look at a deadline that comes later than this found the run loop held up by somebody's block, and what
// the broker answered in time may wait behind that block.
constexpr std::chrono::seconds kLateLook{1};

// What an answer that waits gets to be looked at.
constexpr std::chrono::seconds kReprieve{1};

}  // namespace

ConnectionDeadlines::ConnectionDeadlines(TimePoint now, Duration connectDeadline, Duration keepAlive,
                                         Duration pingResponseDeadline)
    : keepAlive_(keepAlive),
      pingResponseDeadline_(pingResponseDeadline),
      connectDeadline_(now + connectDeadline),
      lastWrite_(now) {}

void ConnectionDeadlines::didConnect(TimePoint now) {
    connectDeadline_.reset();
    isReprieved_ = false;
    wasConnected_ = true;
    lastWrite_ = now;
}

void ConnectionDeadlines::didWritePingRequest(TimePoint now) {
    lastWrite_ = now;
    pingDeadline_ = now + pingResponseDeadline_;
    isReprieved_ = false;
}

void ConnectionDeadlines::didReceivePingResponse() {
    pingDeadline_.reset();
}

std::optional<ConnectionDeadlines::TimePoint> ConnectionDeadlines::next() const {
    if (connectDeadline_ || pingDeadline_) {
        return connectDeadline_ ? connectDeadline_ : pingDeadline_;
    }
    if (!wasConnected_ || keepAlive_ <= Duration::zero()) {
        return std::nullopt;
    }
    return lastWrite_ + keepAlive_;
}

ConnectionDeadlines::Due ConnectionDeadlines::check(TimePoint now, bool readingIsHeldUp) {
    const auto at = next();
    if (!at || now < *at) {
        return Due::Nothing;
    }
    if (connectDeadline_) {
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
    isReprieved_ = cameLate;
    deadline = now + kReprieve;
    return false;
}

}  // namespace xel
