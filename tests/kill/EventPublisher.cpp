#include "tests/kill/EventPublisher.h"

#include <chrono>

namespace xel::killtest {

EventPublisher::EventPublisher(xel::PushClientManager& push, xel::NSRunLoop& runLoop, ReceivedLog& log,
                               PublishingPace pace)
    : push_(push),
      runLoop_(runLoop),
      log_(log),
      pace_(pace),
      life_(std::to_string(std::chrono::system_clock::now().time_since_epoch().count())) {}

void EventPublisher::start() {
    runLoop_.scheduleTimer(pace_.pause, [this] { publishSome(); });
}

void EventPublisher::publishSome() {
    // Without a session an event waits in memory, which promises nothing over a kill.
    if (push_.brokerClientId()) {
        for (int i = 0; i < pace_.eventsAPause; ++i) {
            publishOne();
        }
    }
    start();
}

void EventPublisher::publishOne() {
    const std::string id = life_ + "-" + std::to_string(++published_);
    const bool isPromised = push_.publishEvent("kill", xel::Dictionary{{"id", id}, {"from", "kill test"}});
    if (isPromised) {
        log_.note(id);
    }
}

}  // namespace xel::killtest
