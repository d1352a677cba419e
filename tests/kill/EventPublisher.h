#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "XelPushClient/Platform/NSRunLoop.h"
#include "XelPushClient/XelPushClient.h"
#include "tests/kill/ReceivedLog.h"

namespace xel::killtest {

/// How fast events are published.
struct PublishingPace {
    std::chrono::milliseconds pause;
    int eventsAPause;
};

/// Publishes events at a pace for as long as the client has a session, connected or not, and notes each id
/// that the client has answered YES for. The note comes after the YES: an id in the notes is a
/// promise that the client made, while one that was promised and not yet noted when the process died is
/// missing there.
class EventPublisher {
public:
    /// Client, loop and log outlive the run loop's last turn.
    EventPublisher(xel::PushClientManager& push, xel::NSRunLoop& runLoop, ReceivedLog& log,
                   PublishingPace pace);

    void start();

private:
    void publishSome();
    void publishOne();

    xel::PushClientManager& push_;
    xel::NSRunLoop& runLoop_;
    ReceivedLog& log_;
    PublishingPace pace_;
    std::string life_;
    std::size_t published_ = 0;
};

}  // namespace xel::killtest
